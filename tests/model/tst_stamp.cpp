#include "stamp.h"

#include <QTest>

class TestStamp : public QObject
{
    Q_OBJECT

private slots:
    void accepted_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<qint64>("msecsSinceEpoch");
        const qint64 base = QDateTime(QDate(2025, 5, 1), QTime(12, 34, 56), Qt::UTC).toMSecsSinceEpoch();
        QTest::newRow("fraction, Z") << "2025-05-01T12:34:56.789Z" << base + 789;
        QTest::newRow("no fraction, Z") << "2025-05-01T12:34:56Z" << base;
        QTest::newRow("offset applied") << "2025-05-01T14:34:56+02:00" << base;
        QTest::newRow("negative offset") << "2025-05-01T07:04:56-05:30" << base;
        QTest::newRow("fraction and offset") << "2025-05-01T14:34:56.5+02:00" << base + 500;
        QTest::newRow("microseconds") << "2025-05-01T12:34:56.789123Z" << base + 789;
        QTest::newRow("leap day") << "2024-02-29T00:00:00Z"
                                  << QDateTime(QDate(2024, 2, 29), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch();
    }

    void accepted()
    {
        QFETCH(QString, text);
        QFETCH(qint64, msecsSinceEpoch);
        const auto instant = stamp(text);
        QVERIFY(instant.has_value());
        QCOMPARE(instant->toMSecsSinceEpoch(), msecsSinceEpoch);
    }

    void refused_data()
    {
        QTest::addColumn<QString>("text");
        // Qt's own ISO reader takes several of these; the service's times never look like them.
        QTest::newRow("blank for T") << "2025-05-01 12:34:56Z";
        QTest::newRow("date alone") << "2025-05-01";
        QTest::newRow("no zone") << "2025-05-01T12:34:56";
        QTest::newRow("no zone, fraction") << "2025-05-01T12:34:56.789";
        QTest::newRow("empty") << "";
        QTest::newRow("word") << "now";
        QTest::newRow("no seconds") << "2025-05-01T12:34Z";
        QTest::newRow("offset without colon") << "2025-05-01T12:34:56+0200";
        QTest::newRow("lower-case t") << "2025-05-01t12:34:56Z";
        QTest::newRow("lower-case z") << "2025-05-01T12:34:56z";
        QTest::newRow("empty fraction") << "2025-05-01T12:34:56.Z";
        QTest::newRow("no such day") << "2025-02-30T12:34:56Z";
        QTest::newRow("hour 24") << "2025-05-01T24:00:00Z";
        QTest::newRow("leap second") << "2025-06-30T23:59:60Z";
        QTest::newRow("offset hour 24") << "2025-05-01T12:34:56+24:00";
        QTest::newRow("leading blank") << " 2025-05-01T12:34:56Z";
        QTest::newRow("trailing blank") << "2025-05-01T12:34:56Z ";
        QTest::newRow("non-ASCII digit") << QString::fromUtf8("2025-05-0\u0661T12:34:56Z");
    }

    void refused()
    {
        QFETCH(QString, text);
        QVERIFY(!stamp(text).has_value());
    }
};

QTEST_GUILESS_MAIN(TestStamp)
#include "tst_stamp.moc"
