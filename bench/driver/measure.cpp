#include "measure.h"

#include "http.h"
#include "spawn.h"

#include <QDir>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QThread>

#include <cstdio>
#include <thread>

using namespace std::chrono_literals;

namespace {

void progress(const QString &what)
{
    std::fprintf(stderr, "bench: %s\n", qPrintable(what));
}

// Runs one measured program to its end and keeps the named readings.
bool once(Readings &out, const QString &program, const QStringList &arguments,
          std::initializer_list<std::pair<const char *, Series *>> wanted,
          std::chrono::milliseconds wait = 60s, const QStringList &environment = {})
{
    Child child;
    if (!child.start(program, arguments, environment)) {
        out.problems.append(QStringLiteral("could not start %1").arg(program));
        return false;
    }
    const bool ok = child.finish(wait);
    for (const auto &[name, series] : wanted) {
        if (const auto v = child.value(name); ok && v)
            series->add(*v);
    }
    if (!ok) {
        out.problems.append(QStringLiteral("%1 %2 ended with status %3")
                                .arg(QFileInfo(program).fileName(), arguments.join(u' '))
                                .arg(child.exitStatus()));
    }
    return ok;
}

// Headless Chromium showing the owner portal of a fresh sign-in; the summed peak RSS of all of
// its processes, in KiB.
std::optional<double> chromiumPeak(const Setup &setup, const QString &origin, QStringList &problems)
{
    QByteArray challenge;
    for (int i = 0; i < 8; ++i)
        challenge += QByteArray::number(QRandomGenerator::global()->generate(), 16).rightJustified(8, '0');
    const auto started = exchange(origin, "POST", "/device/start", "{\"challenge\":\"" + challenge + "\"}",
                                  "application/json");
    const QString portal =
        started ? QJsonDocument::fromJson(started->body).object().value(u"approvalUrl").toString()
                : QString();
    if (portal.isEmpty()) {
        problems.append(QStringLiteral("the service gave no portal page"));
        return std::nullopt;
    }
    QTemporaryDir profile;
    Child browser;
    const QStringList arguments{
        QStringLiteral("--headless"),
        QStringLiteral("--no-sandbox"),
        QStringLiteral("--disable-gpu"),
        QStringLiteral("--disable-quic"),
        QStringLiteral("--no-first-run"),
        QStringLiteral("--disable-background-networking"),
        QStringLiteral("--disable-component-update"),
        QStringLiteral("--disable-sync"),
        QStringLiteral("--user-data-dir=") + profile.filePath(QStringLiteral("profile")),
        QStringLiteral("--window-size=390,844"),
        QStringLiteral("--screenshot=") + profile.filePath(QStringLiteral("portal.png")),
        portal};
    if (!browser.start(setup.chromium, arguments, {}, true)) {
        problems.append(QStringLiteral("could not start %1").arg(setup.chromium));
        return std::nullopt;
    }
    // Each process's own peak, kept while it lives; summed over every process that took part.
    QHash<pid_t, qint64> peaks;
    for (int i = 0; i < 6000 && !browser.ended(); ++i) {
        for (const pid_t pid : proc::tree(browser.pid())) {
            const qint64 hwm = proc::statusKiB(pid, "VmHWM");
            if (hwm > peaks.value(pid, 0))
                peaks.insert(pid, hwm);
        }
        browser.line(10ms);
    }
    const bool ok = browser.finish(10s) && QFileInfo::exists(profile.filePath(QStringLiteral("portal.png")));
    if (!ok) {
        problems.append(QStringLiteral("Chromium did not show the portal page"));
        return std::nullopt;
    }
    double sum = 0;
    for (const qint64 kib : peaks)
        sum += double(kib);
    return sum;
}

void idle(const Setup &setup, const QString &origin, Readings &out)
{
    Child app, bare;
    if (!app.start(setup.app, {QStringLiteral("idle"), origin})
        || !bare.start(setup.bare, {QStringLiteral("idle")})) {
        out.problems.append(QStringLiteral("could not start the idle runs"));
        return;
    }
    for (Child *child : {&app, &bare}) {
        for (;;) {
            const auto got = child->line(60s);
            if (!got) {
                out.problems.append(QStringLiteral("an idle run never became ready"));
                return;
            }
            if (*got == "ready")
                break;
        }
    }
    // "ready" is printed while the app still works: its threads go to sleep once it is written.
    // The window opens after a quarter second in which no thread of either went to sleep.
    for (int quarter = 0; quarter < 20; ++quarter) {
        const qint64 appBefore = proc::switches(app.pid()).voluntary;
        const qint64 bareBefore = proc::switches(bare.pid()).voluntary;
        std::this_thread::sleep_for(250ms);
        if (proc::switches(app.pid()).voluntary == appBefore
            && proc::switches(bare.pid()).voluntary == bareBefore)
            break;
    }
    const double appCpu = proc::cpuMs(app.pid()), bareCpu = proc::cpuMs(bare.pid());
    const proc::Switches appStart = proc::switches(app.pid()), bareStart = proc::switches(bare.pid());
    const qint64 bareRss = proc::statusKiB(bare.pid(), "VmRSS");
    // The app's wake-ups, a quarter second at a time, told apart by the checks' marks.
    qint64 last = appStart.voluntary, inChecks = 0, outside = 0;
    int checks = 0;
    bool checking = false, markedBefore = false;
    const auto until = std::chrono::steady_clock::now() + setup.idle;
    while (std::chrono::steady_clock::now() < until && !app.ended()) {
        bool marked = checking;
        const auto sampled = std::chrono::steady_clock::now() + 250ms;
        for (auto now = std::chrono::steady_clock::now(); now < sampled;
             now = std::chrono::steady_clock::now()) {
            const auto got = app.line(std::chrono::ceil<std::chrono::milliseconds>(sampled - now));
            if (!got)
                continue;
            marked = true;
            checking = *got == "check-begins";
            checks += checking ? 1 : 0;
        }
        const qint64 now = proc::switches(app.pid()).voluntary;
        ((marked || markedBefore) ? inChecks : outside) += now - last;
        markedBefore = marked;
        last = now;
    }
    out.appWakesPerCheck.add(double(inChecks) / std::max(checks, 1));
    out.appWakesOutsideChecks.add(double(outside));
    out.appIdleCpuMs.add(proc::cpuMs(app.pid()) - appCpu);
    out.bareIdleCpuMs.add(proc::cpuMs(bare.pid()) - bareCpu);
    const proc::Switches appEnd = proc::switches(app.pid()), bareEnd = proc::switches(bare.pid());
    out.appIdleWakes.add(double(appEnd.voluntary - appStart.voluntary));
    out.appIdlePreempted.add(double(appEnd.involuntary - appStart.involuntary));
    out.bareIdleWakes.add(double(bareEnd.voluntary - bareStart.voluntary));
    out.bareDriftKiB.add(double(proc::statusKiB(bare.pid(), "VmRSS") - bareRss));
}

// The renderer a machine with a graphics device gets; here Mesa draws it on the CPU.
const QStringList openGL{QStringLiteral("QT_QUICK_BACKEND=rhi")};

} // namespace

int roundTripOnce(const QString &origin)
{
    const auto got = exchange(origin, "GET", "/market-data");
    if (!got || got->status != 200)
        return 1;
    std::printf("roundtrip-ms %.3f\n", got->ms);
    return 0;
}

void measure(const Setup &setup, const QString &origin, const QString &paddedOrigin, Readings &out)
{
    const QStringList ff{QStringLiteral("first-frame"), origin};
    // One unmeasured start of each, so that neither pays for reading its files from disk.
    Readings discard;
    once(discard, setup.app, ff, {});
    once(discard, setup.bare, {QStringLiteral("first-frame")}, {});

    progress(QStringLiteral("start-up: %1 fresh processes of each").arg(setup.runs));
    for (int i = 0; i < setup.runs; ++i) {
        once(out, setup.app, ff, {{"first-frame-ms", &out.appFirstFrame}});
        once(out, setup.bare, {QStringLiteral("first-frame")}, {{"first-frame-ms", &out.bareFirstFrame}});
        once(out, setup.app, ff, {{"first-frame-ms", &out.glFirstFrame}}, 60s, openGL);
        once(out, setup.app, {QStringLiteral("quotes"), origin},
             {{"quotes-after-first-frame-ms", &out.quotesAfterFirst}});
        once(out, setup.self, {QStringLiteral("--roundtrip"), origin}, {{"roundtrip-ms", &out.roundTrip}});
    }

    progress(QStringLiteral("the largest history and a frame of the bare window"));
    for (int i = 0; i < setup.runs; ++i) {
        once(out, setup.app, {QStringLiteral("history"), paddedOrigin},
             {{"history-frame-ms", &out.historyFrame},
              {"rows", &out.historyRows},
              {"peak-rss-kib", &out.historyPeakKiB}});
        once(out, setup.bare, {QStringLiteral("frame")}, {{"change-to-frame-ms", &out.bareChangeFrame}});
        once(out, setup.app, {QStringLiteral("history"), paddedOrigin},
             {{"history-frame-ms", &out.glHistoryFrame}}, 60s, openGL);
    }

    progress(QStringLiteral("peak memory: the tour, the bare window, Chromium"));
    for (int i = 0; i < setup.runs; ++i) {
        once(out, setup.app, {QStringLiteral("tour"), origin}, {{"peak-rss-kib", &out.appPeakKiB}});
        once(out, setup.bare, {QStringLiteral("settle")}, {{"peak-rss-kib", &out.barePeakKiB}});
        once(out, setup.app, {QStringLiteral("tour"), origin}, {{"peak-rss-kib", &out.glPeakKiB}}, 60s,
             openGL);
        if (const auto peak = chromiumPeak(setup, origin, out.problems))
            out.chromiumPeakKiB.add(*peak);
    }

    progress(QStringLiteral("the event loop during faulty replies, and the service under load"));
    for (int i = 0; i < setup.runs; ++i) {
        once(out, setup.wire, {QStringLiteral("faults")}, {{"longest-gap-ms", &out.faultGap}}, 300s);
        once(out, setup.wire, {QStringLiteral("load"), origin},
             {{"requests-per-second", &out.requestsPerSecond}}, 300s);
    }

    progress(QStringLiteral("leaks: %1 checks every %2 ms, %3 runs")
                 .arg(setup.checks)
                 .arg(setup.checkPeriodMs)
                 .arg(setup.leakRuns));
    for (int i = 0; i < setup.leakRuns; ++i) {
        Series before, after;
        once(out, setup.app,
             {QStringLiteral("leaks"), paddedOrigin, QString::number(setup.checkPeriodMs),
              QString::number(setup.checks)},
             {{"rss-after-10-kib", &before},
              {"rss-after-all-kib", &after},
              {"checks", &out.leakChecks},
              {"ms-per-check", &out.msPerCheck}},
             std::chrono::milliseconds(qint64(setup.checks) * setup.checkPeriodMs * 4) + 60s);
        if (!before.empty() && !after.empty())
            out.leakKiB.add(after.values.first() - before.values.first());
    }

    progress(QStringLiteral("idle: %1 s, %2 runs of the app and the bare window side by side")
                 .arg(setup.idle.count())
                 .arg(setup.idleRuns));
    for (int i = 0; i < setup.idleRuns; ++i)
        idle(setup, origin, out);
}
