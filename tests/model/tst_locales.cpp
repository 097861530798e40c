#include "accountrecord.h"
#include "historylist.h"
#include "papertrade.h"
#include "quiet.h"
#include "quotelist.h"
#include "regionformat.h"
#include "snapshotrows.h"

#include <QTest>

#include <clocale>

namespace {

// The four regions the suite runs under, and how each writes the three kinds of region text:
// 64000.5 US dollars, 14:05 as a short time, and 1 May 2025 14:05 as a date and time.
struct Region
{
    const char *name;
    const char *usd;
    const char *time;
    const char *dateTime;
};

const Region regions[] = {
    {"C", "64,000.50$", "14:05", "1 May 2025 14:05"},
    {"en_US", "$64,000.50", "2:05 PM", "5/1/25 2:05 PM"},
    {"de_DE", "64.000,50\u00a0$", "14:05", "01.05.25 14:05"},
    {"fr_FR", "64\u202f000,50\u00a0$", "14:05", "01/05/2025 14:05"},
};

const QDateTime at(QDate(2025, 5, 1), QTime(14, 5, 9), Qt::LocalTime);

Quote quote(const QString &time)
{
    return Quote(QStringLiteral("BTC-USD"), 64000.5, 1.234, 66000, 64000, 1234.5678, 64990, 65010, time);
}

// For one scope the whole process is in a region, as a Qt program is once it has started
// there: the C library's locale and Qt's default locale both.
class InRegion
{
public:
    explicit InRegion(const QString &name)
        : m_saved(std::setlocale(LC_ALL, nullptr))
    {
        const QByteArray full = name == u"C" ? QByteArray("C") : name.toLatin1() + ".UTF-8";
        m_active = std::setlocale(LC_ALL, full.constData()) != nullptr;
        QLocale::setDefault(QLocale(name));
    }
    ~InRegion()
    {
        std::setlocale(LC_ALL, m_saved.constData());
        QLocale::setDefault(QLocale::system());
    }
    InRegion(const InRegion &) = delete;
    InRegion &operator=(const InRegion &) = delete;
    bool active() const { return m_active; }

private:
    QByteArray m_saved;
    bool m_active = false;
};

} // namespace

class TestLocales : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    void regionTexts_data()
    {
        QTest::addColumn<QString>("region");
        QTest::addColumn<QString>("usd");
        QTest::addColumn<QString>("time");
        QTest::addColumn<QString>("dateTime");
        for (const Region &r : regions)
            QTest::newRow(r.name) << QString::fromLatin1(r.name) << QString::fromUtf8(r.usd)
                                  << QString::fromUtf8(r.time) << QString::fromUtf8(r.dateTime);
    }

    // Each region's own currency, time and date forms, never with seconds; fixed texts and
    // printf-style figures: the same bytes whatever the region.
    void regionTexts()
    {
        QFETCH(QString, region);
        // As the process's own locale is: Qt's named C locale alone leaves out digit grouping.
        QLocale locale(region);
        locale.setNumberOptions(QLocale::DefaultNumberOptions);
        QTEST(usd(64000.5, locale), "usd");
        QTEST(shortTime(at, locale), "time");
        QTEST(shortDateTime(at, locale), "dateTime");

        InRegion inside(region);
        QVERIFY2(inside.active(), "region not installed (Debian's locales-all)");

        const QDateTime now = QDateTime::currentDateTimeUtc();
        const SnapshotRows rows = snapshotRows(quote(now.toString(Qt::ISODateWithMs)));
        QCOMPARE((QStringList{rows.change, rows.lowHigh, rows.bidAsk, rows.spread, rows.volume}),
                 (QStringList{"+1.23%", "$64000.00 / $66000.00", "$64990.00 / $65010.00", "0.031%",
                              "1234.57 BTC"}));
        QCOMPARE(snapshotRows(quote(QStringLiteral("soon"))).time, QStringLiteral("Unavailable"));
        QCOMPARE(QuoteList::changeText(-0.5), QString::fromUtf8("-0.50% · 24h"));

        const auto preview = [&](const char *side, const char *size) {
            return paperPreview({QString::fromLatin1(size), "0.1", "0.5", QString::fromLatin1(side)},
                                quote(now.toString(Qt::ISODateWithMs)), now);
        };
        QCOMPARE(preview("Buy", "100"),
                 QStringList({"Paper buy", "Quantity: 0.00152904 BTC", "Assumed execution: $65335.05",
                              "Total cost: $100.00", "Value at −5% / +5%: $92.97 / $102.75",
                              "No order or transaction sent."})
                     .join(u'\n'));
        QCOMPARE(preview("Sell", "100").section(u'\n', 3, 3), QStringLiteral("Net proceeds: $99.40"));
        // The region's decimal comma is not a number here.
        QCOMPARE(
            preview("Buy", "0,5"),
            QStringLiteral("Load a fresh quote. Enter a positive size and percentages from 0 to below 100."));

        QCOMPARE(HistoryList::headline({{"amount", "1.25"}, {"state", "settled"}}),
                 QString::fromUtf8("1.25 kUSD · settled"));
        QCOMPARE(HistoryList::headline({}), QString::fromUtf8("— kUSD · Unknown"));
        QCOMPARE(HistoryList::dateLine({{"created", "2025-05-01"}}), QStringLiteral("Date unavailable"));
        QCOMPARE(AccountRecord::address({}), QStringLiteral("Unavailable"));
        QCOMPARE(AccountRecord::nativeBalance({{"nativeBalance", 0.5}}), QString::fromUtf8("—"));
    }

    // The program's own texts take the region the process runs under (scripts/test runs the
    // suite under each of the four).
    void followProcessRegion()
    {
        const QString name = QLocale::system().name();
        const auto region = std::find_if(std::begin(regions), std::end(regions),
                                         [&](const Region &r) { return name == QLatin1String(r.name); });
        if (region == std::end(regions))
            QSKIP("no expectations for the process's region");
        const QString stamped = at.toUTC().toString(Qt::ISODate);
        const SnapshotRows rows = snapshotRows(quote(stamped));
        QCOMPARE(rows.lastTrade, QString::fromUtf8(region->usd));
        QCOMPARE(rows.time, QString::fromUtf8(region->dateTime));
        QCOMPARE(shortTime(at), QString::fromUtf8(region->time));
        QCOMPARE(HistoryList::dateLine({{"created", stamped}}), QString::fromUtf8(region->dateTime));
    }
};

QTEST_GUILESS_MAIN(TestLocales)
#include "tst_locales.moc"
