// kelvra-bench: measures the app against its baselines, each in fresh processes, and prints the
// table (and writes it into docs/performance.md). Run it through bench/run, which builds
// everything and gives it a display.
//
//   kelvra-bench --build DIR --out FILE [--runs N] [--idle-runs N] [--idle-seconds S]
//                [--leak-runs N] [--checks N] [--check-period MS] [--chromium PATH]
//   kelvra-bench --roundtrip ORIGIN

#include "measure.h"
#include "report.h"
#include "spawn.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>

#include <cstdio>

using namespace std::chrono_literals;

namespace {

// Starts a local service and gives its origin.
QString serve(Child &service, const QString &program, const QStringList &extra)
{
    if (!service.start(program, QStringList{QStringLiteral("--port"), QStringLiteral("0")} + extra))
        return {};
    const auto line = service.line(30s);
    const QByteArray prefix("listening on ");
    if (!line || !line->startsWith(prefix))
        return {};
    return QString::fromLatin1(line->mid(prefix.size()).trimmed());
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    const auto option = [&parser](const char *name, const char *help, const char *value,
                                  const char *fallback = "") {
        parser.addOption({QString::fromLatin1(name), QString::fromLatin1(help), QString::fromLatin1(value),
                          QString::fromLatin1(fallback)});
    };
    option("roundtrip", "One loopback round trip to ORIGIN, printed; nothing else.", "origin");
    option("build", "The Release build directory.", "dir");
    option("out", "The Markdown file to write the table into.", "file");
    option("runs", "Fresh processes per figure.", "n", "5");
    option("idle-runs", "Runs of the idle figure.", "n", "3");
    option("idle-seconds", "Length of one idle run.", "s", "60");
    option("leak-runs", "Runs of the leak figure.", "n", "3");
    option("checks", "Session checks per leak run.", "n", "1000");
    option("check-period", "Period of the session check in the leak runs.", "ms", "50");
    option("chromium", "The Chromium to compare with.", "path", "/usr/bin/chromium");
    parser.process(app);

    if (parser.isSet(QStringLiteral("roundtrip")))
        return roundTripOnce(parser.value(QStringLiteral("roundtrip")));

    const QString build = parser.value(QStringLiteral("build"));
    if (build.isEmpty()) {
        std::fprintf(stderr, "kelvra-bench: --build is required\n");
        return 2;
    }
    Setup setup;
    setup.app = build + QStringLiteral("/bench/kelvra-bench-app");
    setup.bare = build + QStringLiteral("/bench/kelvra-bench-bare");
    setup.service = build + QStringLiteral("/tools/service/kelvra-service");
    setup.wire = build + QStringLiteral("/bench/kelvra-bench-wire");
    setup.self = QCoreApplication::applicationFilePath();
    setup.chromium = parser.value(QStringLiteral("chromium"));
    setup.runs = std::max(1, parser.value(QStringLiteral("runs")).toInt());
    setup.idleRuns = std::max(1, parser.value(QStringLiteral("idle-runs")).toInt());
    setup.idle = std::chrono::seconds(std::max(1, parser.value(QStringLiteral("idle-seconds")).toInt()));
    setup.leakRuns = std::max(1, parser.value(QStringLiteral("leak-runs")).toInt());
    setup.checks = std::max(11, parser.value(QStringLiteral("checks")).toInt());
    setup.checkPeriodMs = std::max(1, parser.value(QStringLiteral("check-period")).toInt());
    for (const QString &program : {setup.app, setup.bare, setup.wire, setup.service, setup.chromium}) {
        if (!QFileInfo(program).isExecutable()) {
            std::fprintf(stderr, "kelvra-bench: %s is missing\n", qPrintable(program));
            return 2;
        }
    }

    Child service, padded;
    const QString origin = serve(service, setup.service, {});
    const QString paddedOrigin =
        serve(padded, setup.service, {QStringLiteral("--history-bytes"), QStringLiteral("131071")});
    if (origin.isEmpty() || paddedOrigin.isEmpty()) {
        std::fprintf(stderr, "kelvra-bench: the local service did not start\n");
        return 1;
    }

    Readings readings;
    measure(setup, origin, paddedOrigin, readings);
    const QString text = table(setup, readings);
    std::printf("\n%s", qPrintable(text));
    const QString out = parser.value(QStringLiteral("out"));
    if (!out.isEmpty() && !writeInto(out, text)) {
        std::fprintf(stderr, "kelvra-bench: could not write %s\n", qPrintable(out));
        return 1;
    }
    return readings.problems.isEmpty() ? 0 : 1;
}
