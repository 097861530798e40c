// kelvra-bench-bare: the baseline window, with the same probe as the app.
//
//   kelvra-bench-bare SCENARIO
//
// Scenarios: first-frame; frame (a change of the Label's text to the frame that shows it);
// settle (peak memory once the window has settled); idle (the driver measures).

#include "probe.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>

#include <QCoroTask>

#include <cstdio>

using namespace std::chrono_literals;

namespace {

using probe::pause;
using probe::until;

QCoro::Task<int> run(QString scenario, QQuickWindow *window, probe::FrameWatch *frames)
{
    const bool drawn = co_await until([frames] { return frames->firstFrameAt() >= 0; }, 30s);
    if (!drawn)
        co_return 1;
    probe::report("first-frame-ms", frames->firstFrameAt());
    if (scenario == QLatin1String("first-frame"))
        co_return 0;

    co_await pause(300ms);
    if (scenario == QLatin1String("frame")) {
        QObject *label = probe::find(window->contentItem(), QStringLiteral("label"));
        if (!label)
            co_return 1;
        frames->arm([label] { return label->property("text").toString() == QStringLiteral("Kelvra ·"); });
        const double changed = probe::sinceStart();
        label->setProperty("text", QStringLiteral("Kelvra ·"));
        const bool shown = co_await until([frames] { return frames->shownAt() >= 0; }, 5s);
        if (!shown)
            co_return 1;
        probe::report("change-to-frame-ms", frames->shownAt() - changed);
        co_return 0;
    }
    if (scenario == QLatin1String("settle")) {
        co_await pause(700ms);
        probe::report("peak-rss-kib", double(probe::statusKiB("VmHWM")));
        co_return 0;
    }
    if (scenario == QLatin1String("idle")) {
        co_await pause(1s);
        probe::report("ready");
        co_await pause(std::chrono::hours(24));
        co_return 0;
    }
    co_return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: kelvra-bench-bare SCENARIO\n");
        return 2;
    }
    const QString scenario = QString::fromLocal8Bit(argv[1]);

    QGuiApplication app(argc, argv);
    QQuickStyle::setStyle(QStringLiteral("Material"));
    QQmlApplicationEngine engine;
    const double loading = probe::sinceStart();
    engine.load(QUrl(QStringLiteral("qrc:/KelvraBare/Main.qml")));
    if (engine.rootObjects().isEmpty())
        return 1;
    probe::report("before-load-ms", loading);
    probe::report("load-ms", probe::sinceStart() - loading);
    auto *window = qobject_cast<QQuickWindow *>(engine.rootObjects().first());
    if (!window)
        return 1;

    probe::FrameWatch frames(window);
    int status = 1;
    QCoro::connect(run(scenario, window, &frames), &app, [&status](int result) {
        status = result;
        QCoreApplication::quit();
    });
    QGuiApplication::exec();
    return status;
}
