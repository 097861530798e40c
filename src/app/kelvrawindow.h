#pragma once

#include "app/workspace.h"

#include <QQmlApplicationEngine>

#include <memory>

class QQuickWindow;

// The program's one window and everything behind it: the workspace with its stores, and the QML
// engine that shows it (Main.qml). The entry, the tests, the tour and the benchmarks all make
// the window through it, so that they run what users run.
class KelvraWindow
{
public:
    // Before the application object exists: no disk caches.
    static void prepareProcess();

    // Once the application object exists. Sets the application up (names, style), then makes the
    // workspace on `origin` and an engine that loads only what the program carries.
    KelvraWindow(const QString &origin, Workspace::Platform platform);
    ~KelvraWindow();

    KelvraWindow(const KelvraWindow &) = delete;
    KelvraWindow &operator=(const KelvraWindow &) = delete;

    Workspace &workspace() { return m_workspace; }
    QQmlApplicationEngine &engine() { return *m_engine; }
    // The window once loaded, else null.
    QQuickWindow *window() const;

    // Starts the workspace and loads the window on it; false when it could not be made. A failure
    // while the window is being made ends the application's event loop with 1. Once its first
    // frame is on screen, the window's `drawn` turns true and the window gets its icon.
    bool load();

private:
    // The engine goes first: the window's bindings read the workspace to the end.
    Workspace m_workspace;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
};
