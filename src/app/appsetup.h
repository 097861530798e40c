#pragma once

// How the program sets itself up, shared with the journey test so that the test runs what users
// run. Nothing in it writes to disk: no shader cache, no QML cache, no settings.

// Before the application object exists.
void prepareProcess();
// Once it exists: the names the platform shows, and the Material style; once per process.
void prepareApplication();
// The window icon, once the first frame is on screen: nothing on it needs the icon.
void setWindowIcon();

class QQmlEngine;
// Before the engine loads the window: it loads only what the program carries (qrc:), never
// anything from the network, whatever a text or an image source names.
void prepareEngine(QQmlEngine &engine);
