#include "report.h"

#include "spawn.h"

#include <QDateTime>
#include <QFile>
#include <QLibraryInfo>
#include <QSaveFile>

namespace {

const QString begin = QStringLiteral("<!-- bench:begin (written by bench/run; edit around it) -->");
const QString end = QStringLiteral("<!-- bench:end -->");

QString mib(const Series &kib)
{
    Series m;
    for (double v : kib.values)
        m.add(v / 1024);
    return m.text(1) + QStringLiteral(" MiB");
}

QString ratio(double value, double baseline)
{
    return baseline > 0 ? QStringLiteral("%1x").arg(value / baseline, 0, 'f', 2) : QStringLiteral("—");
}

// "met", or how far off the goal is, as a factor of the goal.
QString verdict(bool haveValue, double value, double goal)
{
    if (!haveValue)
        return QStringLiteral("not measured");
    if (value <= goal)
        return QStringLiteral("met");
    if (goal <= 0)
        return QStringLiteral("**missed**");
    return QStringLiteral("**missed: %1x the goal**").arg(goal > 0 ? value / goal : 0, 0, 'f', 2);
}

QString row(const QStringList &cells)
{
    return QStringLiteral("| ") + cells.join(QStringLiteral(" | ")) + QStringLiteral(" |\n");
}

} // namespace

QString table(const Setup &setup, const Readings &r)
{
    QString out;
    out +=
        QStringLiteral("Measured %1 on %2 (%3 cores), Qt %4, %5 runs of each figure (idle: %6 runs of %7 s; "
                       "leaks: %8 runs).\n\n")
            .arg(QDateTime::currentDateTime().toString(Qt::ISODate), cpuModel())
            .arg(cores())
            .arg(QString::fromLatin1(qVersion()))
            .arg(setup.runs)
            .arg(setup.idleRuns)
            .arg(setup.idle.count())
            .arg(setup.leakRuns);
    out += row({QStringLiteral("figure"), QStringLiteral("Kelvra: median (min–max)"),
                QStringLiteral("baseline: median (min–max)"), QStringLiteral("ratio"), QStringLiteral("goal"),
                QStringLiteral("verdict")});
    out += QStringLiteral("|---|---|---|---|---|---|\n");

    const double first = r.appFirstFrame.median(), bareFirst = r.bareFirstFrame.median();
    out += row({QStringLiteral("cold start to first frame"), r.appFirstFrame.text() + QStringLiteral(" ms"),
                QStringLiteral("bare window: ") + r.bareFirstFrame.text() + QStringLiteral(" ms"),
                ratio(first, bareFirst), QStringLiteral("≤ 1.15x the bare window and ≤ 40 ms over it"),
                // The worse of the two parts of the goal.
                verdict(!r.appFirstFrame.empty() && bareFirst > 0,
                        std::max(first / std::max(bareFirst, 1e-9) / 1.15, (first - bareFirst) / 40), 1)});

    const double quotes = r.quotesAfterFirst.median(), rt = r.roundTrip.median();
    out += row({QStringLiteral("start to quotes on screen, minus the first frame"),
                r.quotesAfterFirst.text() + QStringLiteral(" ms"),
                QStringLiteral("loopback round trip: ") + r.roundTrip.text(2) + QStringLiteral(" ms"),
                ratio(quotes, rt), QStringLiteral("≤ round trip + 10 ms = %1 ms").arg(rt + 10, 0, 'f', 1),
                verdict(!r.quotesAfterFirst.empty() && !r.roundTrip.empty(), quotes, rt + 10)});

    const double peak = r.appPeakKiB.median(), barePeak = r.barePeakKiB.median(),
                 chrome = r.chromiumPeakKiB.median();
    out += row({QStringLiteral("peak memory after a full tour"), mib(r.appPeakKiB),
                QStringLiteral("bare window: ") + mib(r.barePeakKiB), ratio(peak, barePeak),
                QStringLiteral("≤ 1.15x the bare window"),
                verdict(!r.appPeakKiB.empty() && barePeak > 0, peak / std::max(barePeak, 1e-9), 1.15)});
    out += row({QStringLiteral("peak memory after a full tour"), mib(r.appPeakKiB),
                QStringLiteral("Chromium, portal page: ") + mib(r.chromiumPeakKiB), ratio(peak, chrome),
                QStringLiteral("≤ 0.33x Chromium"),
                verdict(!r.appPeakKiB.empty() && chrome > 0, peak / std::max(chrome, 1e-9), 1.0 / 3)});

    out += row(
        {QStringLiteral("largest history (%1 rows, 131,071 bytes): reply complete to the frame with its rows")
             .arg(r.historyRows.median(), 0, 'f', 0),
         r.historyFrame.text() + QStringLiteral(" ms"),
         QStringLiteral("bare window, a Label's change to its frame: ") + r.bareChangeFrame.text()
             + QStringLiteral(" ms"),
         ratio(r.historyFrame.median(), r.bareChangeFrame.median()),
         QStringLiteral("≤ 16 ms, the slowest run too"),
         verdict(!r.historyFrame.empty(), r.historyFrame.max(), 16)});

    const double seconds = double(setup.idle.count());
    auto percent = [seconds](const Series &ms) {
        Series p;
        for (double v : ms.values)
            p.add(v / (seconds * 1000) * 100);
        return p;
    };
    const Series appIdle = percent(r.appIdleCpuMs), bareIdle = percent(r.bareIdleCpuMs);
    out += row({QStringLiteral("idle CPU, session connected, window open"),
                appIdle.text(3) + QStringLiteral(" % of a core"),
                QStringLiteral("bare window: ") + bareIdle.text(3) + QStringLiteral(" %"),
                ratio(appIdle.median(), bareIdle.median()), QStringLiteral("< 0.1 % of a core"),
                verdict(!appIdle.empty(), appIdle.median(), 0.1)});
    out += row({QStringLiteral("idle wake-ups (voluntary context switches of all threads)"),
                r.appIdleWakes.text(0) + QStringLiteral(" per %1 s: ").arg(seconds)
                    + r.appWakesPerCheck.text(0) + QStringLiteral(" per check, ")
                    + r.appWakesOutsideChecks.text(0) + QStringLiteral(" outside the checks; besides, ")
                    + r.appIdlePreempted.text(0) + QStringLiteral(" times preempted"),
                QStringLiteral("bare window: ") + r.bareIdleWakes.text(0),
                ratio(r.appIdleWakes.median(), r.bareIdleWakes.median()),
                QStringLiteral("none outside the 30-second check"),
                verdict(!r.appWakesOutsideChecks.empty(), r.appWakesOutsideChecks.max(), 0)});

    out += row({QStringLiteral("leaks: RSS after %1 checks minus after 10").arg(setup.checks),
                r.leakKiB.text(0) + QStringLiteral(" KiB"),
                QStringLiteral("bare window, RSS drift over %1 s: ").arg(seconds) + r.bareDriftKiB.text(0)
                    + QStringLiteral(" KiB"),
                ratio(r.leakKiB.median(), r.bareDriftKiB.median()), QStringLiteral("< 1024 KiB"),
                verdict(!r.leakKiB.empty(), r.leakKiB.median(), 1023.999)});

    out += row({QStringLiteral("longest event-loop stall while a request meets each fault of the matrix"),
                r.faultGap.text(2) + QStringLiteral(" ms"), QStringLiteral("—"), QStringLiteral("—"),
                QStringLiteral("≤ 16 ms"), verdict(!r.faultGap.empty(), r.faultGap.median(), 16)});
    const double rate = r.requestsPerSecond.median();
    out += row({QStringLiteral("local service, mixed requests over 8 kept-alive connections"),
                r.requestsPerSecond.text(0) + QStringLiteral(" requests/s"), QStringLiteral("—"),
                QStringLiteral("—"), QStringLiteral("≥ 200 requests/s"),
                verdict(!r.requestsPerSecond.empty(), 200, std::max(rate, 1e-9))});

    out += QStringLiteral(
               "\nAlso measured: peak memory with the largest history shown, %1; the leak runs' checks "
               "came every %2 ms (every %3 ms was asked for: more would mean they piled up).\n")
               .arg(mib(r.historyPeakKiB), r.msPerCheck.text(1))
               .arg(setup.checkPeriodMs);
    out += QStringLiteral(
               "\nThe app drawn through OpenGL (`QT_QUICK_BACKEND=rhi`), as on a machine with a graphics "
               "device; here Mesa draws it on the CPU: cold start %1 ms (%2 the bare window), the "
               "largest history's frame %3 ms, peak memory after the tour %4 (%5 the bare window).\n")
               .arg(r.glFirstFrame.text(1), ratio(r.glFirstFrame.median(), r.bareFirstFrame.median()),
                    r.glHistoryFrame.text(1), mib(r.glPeakKiB),
                    ratio(r.glPeakKiB.median(), r.barePeakKiB.median()));
    if (!r.problems.isEmpty()) {
        out += QStringLiteral("\nProblems in this run:\n\n");
        for (const QString &p : r.problems)
            out += QStringLiteral("- ") + p + u'\n';
    }
    return out;
}

bool writeInto(const QString &path, const QString &generated)
{
    QString text;
    QFile existing(path);
    if (existing.open(QIODevice::ReadOnly))
        text = QString::fromUtf8(existing.readAll());
    const qsizetype from = text.indexOf(begin), to = text.indexOf(end);
    const QString block = begin + u'\n' + generated + end;
    if (from >= 0 && to > from)
        text.replace(from, to + end.size() - from, block);
    else
        text = QStringLiteral("# Performance\n\n") + block + u'\n';
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(text.toUtf8());
    return file.commit();
}
