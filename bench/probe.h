#pragma once

// What the measured programs report about themselves: times since the process was started,
// frames on screen, replies taken in, and memory. Each figure goes to standard output as one
// line, "name value", for the bench driver to read.

#include <QHash>
#include <QObject>
#include <QPointer>

#include <QCoroTask>

#include <chrono>

#include <atomic>
#include <functional>
#include <mutex>

class QNetworkReply;
class QQuickItem;
class QQuickWindow;

namespace probe {

// Milliseconds since the driver started this process (it passes the moment of exec in
// KELVRA_BENCH_T0, nanoseconds of CLOCK_MONOTONIC); since an arbitrary moment without it.
double sinceStart();
// Milliseconds of CLOCK_MONOTONIC.
double now();

// Turns callgrind's instrumentation on or off; nothing outside callgrind.
void profile(bool on);

void report(const char *name, double value);
void report(const char *name);

// A field of /proc/self/status in KiB ("VmHWM", "VmRSS"); -1 when it cannot be read.
qint64 statusKiB(const char *field);

// Visible items with this objectName under `root`, delegates included; with `onScreenOnly`, only
// those that reach into the window.
int countVisible(QQuickItem *root, const QString &name, bool onScreenOnly);
// The first item with this objectName under `root`.
QQuickItem *find(QQuickItem *root, const QString &name);

// Waits, without blocking the event loop, until `condition` holds; false after `timeout`. It
// looks every few milliseconds: the times measured are taken where things happen, not here.
QCoro::Task<bool> until(std::function<bool()> condition, std::chrono::milliseconds timeout);
QCoro::Task<> pause(std::chrono::milliseconds wait);

// Watches the frames of one window: when the first was swapped, how many have been, and, once
// per arm(), when the first frame was swapped whose scene passed the test when it was
// synchronised. The test runs on the render thread while the GUI thread is blocked, so it may
// read the items.
class FrameWatch
{
public:
    explicit FrameWatch(QQuickWindow *window);
    FrameWatch(const FrameWatch &) = delete;
    FrameWatch &operator=(const FrameWatch &) = delete;
    ~FrameWatch();

    void arm(std::function<bool()> test);
    // Runs on the render thread when an armed test has passed and its frame is swapped.
    void onShown(std::function<void()> action) { m_onShown = std::move(action); }
    double firstFrameAt() const { return m_first.load(); }
    double shownAt() const { return m_shown.load(); }
    // When the synchronisation of that frame began: what the GUI thread did for it was done.
    double shownSyncAt() const { return m_shownSync.load(); }
    int swaps() const { return m_swaps.load(); }

private:
    QQuickWindow *m_window;
    QMetaObject::Connection m_sync, m_swap;
    std::mutex m_lock;
    std::function<bool()> m_test;
    std::function<void()> m_onShown;
    bool m_syncPassed = false;
    double m_syncAt = -1;
    std::atomic<double> m_first{-1};
    std::atomic<double> m_shown{-1};
    std::atomic<double> m_shownSync{-1};
    std::atomic<int> m_swaps{0};
};

// Sees every reply of the application's network managers whose path is `path`, installed as an
// event filter of the application. For the last that ended it keeps the moment the GUI thread
// began to handle the event in which it ended: before anything that waited for the reply ran.
class ReplyWatch : public QObject
{
    Q_OBJECT

public:
    explicit ReplyWatch(QString path, QObject *parent = nullptr);

    int count() const { return m_count; }
    double lastCompleteAt() const { return m_lastComplete; }
    // Runs when the first reply's first event comes in.
    void onFirstEvent(std::function<void()> action) { m_onFirstEvent = std::move(action); }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QString m_path;
    QHash<QNetworkReply *, double> m_lastEvent;
    int m_count = 0;
    double m_lastComplete = -1;
    std::function<void()> m_onFirstEvent;
};

// The owner's requests run on libcurl, driven by socket notifiers on the GUI thread: this keeps
// the moment the GUI thread began its latest socket event, installed as an event filter of the
// application. A transfer ends inside such an event, before anything that waited for it runs.
class SocketWatch : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    double lastEventAt() const { return m_last; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    double m_last = -1;
};

} // namespace probe
