#include "probe.h"

#include <QEvent>
#include <QFile>
#include <QNetworkReply>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>

#include <QCoroTimer>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#endif

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <utility>

namespace probe {

namespace {

// Read when the program is loaded, so that without the driver's moment the load stands in.
const double startedAt = [] {
    const char *given = std::getenv("KELVRA_BENCH_T0");
    return given ? std::strtod(given, nullptr) / 1e6 : now();
}();

void collect(QQuickItem *item, const QString &name, const QRectF &screen, int &found)
{
    if (!item->isVisible())
        return;
    if (item->objectName() == name) {
        const QRectF rect = item->mapRectToScene(QRectF(0, 0, item->width(), item->height()));
        if (screen.isEmpty() || (rect.intersects(screen) && !rect.isEmpty()))
            ++found;
    }
    for (QQuickItem *child : item->childItems())
        collect(child, name, screen, found);
}

} // namespace

double now()
{
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) / 1e6;
}

double sinceStart()
{
    return now() - startedAt;
}

void profile(bool on)
{
#ifdef CALLGRIND_START_INSTRUMENTATION
    if (on)
        CALLGRIND_START_INSTRUMENTATION;
    else
        CALLGRIND_STOP_INSTRUMENTATION;
#else
    Q_UNUSED(on);
#endif
}

void report(const char *name, double value)
{
    std::printf("%s %.3f\n", name, value);
    std::fflush(stdout);
}

void report(const char *name)
{
    std::printf("%s\n", name);
    std::fflush(stdout);
}

qint64 statusKiB(const char *field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray key = QByteArray(field) + ':';
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(key))
            return line.mid(key.size()).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

int countVisible(QQuickItem *root, const QString &name, bool onScreenOnly)
{
    int found = 0;
    QRectF screen;
    if (onScreenOnly && root->window())
        screen = QRectF(0, 0, root->window()->width(), root->window()->height());
    collect(root, name, screen, found);
    return found;
}

QQuickItem *find(QQuickItem *root, const QString &name)
{
    if (root->objectName() == name)
        return root;
    for (QQuickItem *child : root->childItems()) {
        if (QQuickItem *found = find(child, name))
            return found;
    }
    return nullptr;
}

QCoro::Task<> pause(std::chrono::milliseconds wait)
{
    QTimer timer;
    timer.setSingleShot(true);
    timer.start(wait);
    co_await timer;
}

QCoro::Task<bool> until(std::function<bool()> condition, std::chrono::milliseconds timeout)
{
    const double deadline = now() + double(timeout.count());
    while (!condition()) {
        if (now() > deadline)
            co_return false;
        co_await pause(std::chrono::milliseconds(2));
    }
    co_return true;
}

FrameWatch::FrameWatch(QQuickWindow *window)
    : m_window(window)
{
    // Both run on the render thread; the GUI thread is blocked during synchronisation.
    m_sync = QObject::connect(
        window, &QQuickWindow::beforeSynchronizing, window,
        [this] {
            const double at = sinceStart();
            std::lock_guard guard(m_lock);
            m_syncPassed = m_test && m_test();
            m_syncAt = at;
        },
        Qt::DirectConnection);
    m_swap = QObject::connect(
        window, &QQuickWindow::frameSwapped, window,
        [this] {
            const double at = sinceStart();
            {
                std::lock_guard guard(m_lock);
                if (m_syncPassed) {
                    m_test = nullptr;
                    m_syncPassed = false;
                    m_shown = at;
                    m_shownSync = m_syncAt;
                    if (m_onShown)
                        m_onShown();
                }
            }
            double none = -1;
            m_first.compare_exchange_strong(none, at);
            ++m_swaps;
        },
        Qt::DirectConnection);
}

FrameWatch::~FrameWatch()
{
    QObject::disconnect(m_sync);
    QObject::disconnect(m_swap);
}

void FrameWatch::arm(std::function<bool()> test)
{
    std::lock_guard guard(m_lock);
    m_test = std::move(test);
    m_syncPassed = false;
    m_shown = -1;
    m_shownSync = -1;
}

ReplyWatch::ReplyWatch(QString path, QObject *parent)
    : QObject(parent)
    , m_path(std::move(path))
{}

bool ReplyWatch::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::MetaCall)
        return false;
    auto *reply = qobject_cast<QNetworkReply *>(watched);
    if (!reply || reply->url().path() != m_path)
        return false;
    const bool known = m_lastEvent.contains(reply);
    if (m_onFirstEvent)
        std::exchange(m_onFirstEvent, nullptr)();
    m_lastEvent.insert(reply, sinceStart());
    if (!known) {
        connect(reply, &QNetworkReply::finished, this, [this, reply] {
            m_lastComplete = m_lastEvent.take(reply);
            ++m_count;
        });
        connect(reply, &QObject::destroyed, this, [this, reply] { m_lastEvent.remove(reply); });
    }
    return false;
}

bool SocketWatch::eventFilter(QObject *, QEvent *event)
{
    if (event->type() == QEvent::SockAct)
        m_last = sinceStart();
    return false;
}

} // namespace probe
