// kelvra-service: the Kelvra service on 127.0.0.1, for running the app and its journeys on one
// machine. It keeps everything in memory and prints one line, the address it listens on.
#include "localservice.h"
#include "ownerrecords.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>
#include <QTextStream>

#include <chrono>
#include <optional>

namespace {

constexpr qint64 longestLifetime = 7 * 24 * 3600;
constexpr qint64 largestHistory = 64 * 1024 * 1024;

// The whole text as a whole number within [low, high].
std::optional<qint64> wholeNumber(const QString &text, qint64 low, qint64 high)
{
    bool ok = false;
    const qint64 value = text.toLongLong(&ok);
    if (!ok || value < low || value > high || text.trimmed() != text)
        return std::nullopt;
    return value;
}

int refuse(const QString &message)
{
    QTextStream(stderr) << QCoreApplication::applicationName() << ": " << message << Qt::endl;
    return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("kelvra-service"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("The Kelvra service on 127.0.0.1: market data, the vault status, device "
                       "sign-in with a portal page, and the owner's account, history and "
                       "receipts. Nothing is written to disk."));
    parser.addHelpOption();
    const QCommandLineOption portOption(
        QStringLiteral("port"), QStringLiteral("Port to listen on; 0, the default, takes a free one."),
        QStringLiteral("N"), QStringLiteral("0"));
    const QCommandLineOption lifetimeOption(QStringLiteral("token-lifetime"),
                                            QStringLiteral("How long a bearer token lasts; default 900."),
                                            QStringLiteral("SECONDS"), QStringLiteral("900"));
    const QCommandLineOption historyOption(
        QStringLiteral("history-bytes"),
        QStringLiteral("Make the payment history's JSON exactly N bytes long."), QStringLiteral("N"));
    parser.addOptions({portOption, lifetimeOption, historyOption});
    parser.process(app);
    if (!parser.positionalArguments().isEmpty())
        return refuse(QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments().first()));

    const auto port = wholeNumber(parser.value(portOption), 0, 65535);
    if (!port)
        return refuse(QStringLiteral("--port takes a whole number from 0 to 65535"));
    const auto lifetime = wholeNumber(parser.value(lifetimeOption), 1, longestLifetime);
    if (!lifetime)
        return refuse(QStringLiteral("--token-lifetime takes a whole number of seconds from 1 "
                                     "to %1")
                          .arg(longestLifetime));

    OwnerRecords records(QDateTime::currentDateTimeUtc());
    if (parser.isSet(historyOption)) {
        const auto bytes = wholeNumber(parser.value(historyOption), 0, largestHistory);
        if (!bytes || !records.padHistory(*bytes))
            return refuse(QStringLiteral("--history-bytes takes a whole number from %1 to %2")
                              .arg(records.smallestPaddedHistory())
                              .arg(largestHistory));
    }

    LocalService service(std::move(records), std::chrono::seconds(*lifetime));
    if (!service.start(quint16(*port)))
        return refuse(QStringLiteral("cannot listen on 127.0.0.1:%1").arg(*port));
    QTextStream(stdout) << "listening on " << service.origin() << Qt::endl;
    return app.exec();
}
