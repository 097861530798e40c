#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

// How the program sets itself up, shared with the journey test so that the test runs what users
// run. Nothing in it writes to disk: no shader cache, no QML cache, no settings.

// Before the application object exists.
void prepareProcess();
// Once it exists: the names the platform shows, the Material style and the renderer; once per
// process.
void prepareApplication();
// The window icon, once the first frame is on screen: nothing on it needs the icon.
void setWindowIcon();

// The scene graph's renderer: "software" (Qt Quick's own, on the CPU) where OpenGL would be drawn
// on the CPU too, because no graphics device can be opened (`devices`: those that can be, read
// and write) or the environment asks Mesa for its software drivers; empty for Qt's own choice,
// always when the user has named a renderer. `variable` reads the environment.
QString sceneGraphBackend(const std::function<QByteArray(const char *)> &variable,
                          const QStringList &devices);
// The graphics devices this process could draw with: DRM's nodes and NVIDIA's control device.
QStringList graphicsDevices();

class QQmlEngine;
// Before the engine loads the window: it loads only what the program carries (qrc:), never
// anything from the network, whatever a text or an image source names.
void prepareEngine(QQmlEngine &engine);
