#include "account/historylist.h"
#include "market/quotelist.h"
#include "model/regionformat.h"
#include "quiet.h"
#include "trade/papertrade.h"
#include "trade/snapshotrows.h"

#include <QScopeGuard>
#include <QTest>

#include <clocale>

namespace {

const QDateTime at(QDate(2025, 5, 1), QTime(14, 5, 9), Qt::LocalTime);

Quote quote(const QString &time)
{
    return Quote(QStringLiteral("BTC-USD"), 64000.5, 1.234, 66000, 64000, 1234.5678, 64990, 65010, time);
}

} // namespace

class TestLocales : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    // The four regions the suite runs under, and how each writes 64000.5 US dollars, 14:05 as a
    // short time, and 1 May 2025 14:05 as a date and time.
    void regionTexts_data()
    {
        QTest::addColumn<QString>("usd");
        QTest::addColumn<QString>("time");
        QTest::addColumn<QString>("dateTime");
        addRow("C", "64,000.50$", "14:05", "2025-05-01 14:05");
        addRow("en_US", "$64,000.50", "2:05 PM", "5/1/25 2:05 PM");
        addRow("de_DE", "64.000,50\u00a0$", "14:05", "01.05.25 14:05");
        addRow("fr_FR", "64\u202f000,50\u00a0$", "14:05", "01/05/2025 14:05");
    }

    // Each region's own currency, time and date forms, never with seconds; fixed texts and
    // printf-style figures: the same bytes whatever the region.
    void regionTexts()
    {
        const QString region = QTest::currentDataTag();
        QFETCH(QString, usd);
        QFETCH(QString, time);
        QFETCH(QString, dateTime);
        // As the process's own locale is: Qt's named C locale alone leaves out digit grouping.
        QLocale locale(region);
        locale.setNumberOptions(QLocale::DefaultNumberOptions);
        QCOMPARE((QStringList{::usd(64000.5, locale), shortTime(at, locale), shortDateTime(at, locale)}),
                 (QStringList{usd, time, dateTime}));
        // The program's own texts take the region the process runs under (the suite is run under
        // several).
        const QString stamped = at.toUTC().toString(Qt::ISODate);
        if (QLocale::system().name() == region) {
            const SnapshotRows rows = snapshotRows(quote(stamped));
            QCOMPARE((QStringList{rows.lastTrade, shortTime(at), rows.time,
                                  HistoryList::dateLine({{"created", stamped}})}),
                     (QStringList{usd, time, dateTime, dateTime}));
        }

        // Now the whole process is in the region, as a Qt program is once it has started there:
        // the C library's locale and Qt's default locale both.
        const QByteArray saved = std::setlocale(LC_ALL, nullptr);
        const auto restore = qScopeGuard([&] {
            std::setlocale(LC_ALL, saved.constData());
            QLocale::setDefault(QLocale::system());
        });
        const QByteArray full = region == u"C" ? QByteArray("C") : region.toLatin1() + ".UTF-8";
        QVERIFY2(std::setlocale(LC_ALL, full.constData()), "region not installed (Debian's locales-all)");
        QLocale::setDefault(QLocale(region));
        const QDateTime now = QDateTime::currentDateTimeUtc();
        const Quote fresh = quote(now.toString(Qt::ISODateWithMs));
        const SnapshotRows rows = snapshotRows(fresh);
        QCOMPARE((QStringList{rows.change, rows.lowHigh, rows.bidAsk, rows.spread, rows.volume,
                              snapshotRows(quote("soon")).time, QuoteList::changeText(-0.5)}),
                 (QStringList{"+1.23%", "$64000.00 / $66000.00", "$64990.00 / $65010.00", "0.031%",
                              "1234.57 BTC", "Unavailable", "-0.50% · 24h"}));
        QCOMPARE(paperPreview({"100", "0.1", "0.5", "Buy"}, fresh, now),
                 QStringList({"Paper buy", "Quantity: 0.00152904 BTC", "Assumed execution: $65335.05",
                              "Total cost: $100.00", "Value at −5% / +5%: $92.97 / $102.75",
                              "No order or transaction sent."})
                     .join(u'\n'));
    }
};

QTEST_GUILESS_MAIN(TestLocales)
#include "tst_locales.moc"
