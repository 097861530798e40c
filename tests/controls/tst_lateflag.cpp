#include "controls/lateflag.h"

#include <QSignalSpy>
#include <QTest>

class TestLateFlag : public QObject
{
    Q_OBJECT

private slots:
    // Work that ends before the delay never shows; work that lasts shows once the delay is over,
    // or at once without one; its end shows at once.
    void follows_data()
    {
        QTest::addColumn<int>("after");
        QTest::addColumn<bool>("endsAtOnce");
        QTest::addColumn<bool>("shown");
        QTest::addRow("ends sooner") << 60000 << true << false;
        QTest::addRow("lasts") << 1 << false << true;
        QTest::addRow("no delay") << 0 << false << true;
    }

    void follows()
    {
        QFETCH(int, after);
        QFETCH(bool, endsAtOnce);
        QFETCH(bool, shown);
        LateFlag flag;
        flag.setAfter(after);
        QSignalSpy changes(&flag, &LateFlag::valueChanged);
        flag.setInput(true);
        QCOMPARE(flag.value(), after == 0);
        if (endsAtOnce)
            flag.setInput(false);
        else
            QTRY_VERIFY(flag.value());
        // Nothing is left to fire once the work has ended.
        flag.setInput(false);
        QCoreApplication::processEvents();
        QCOMPARE(flag.value(), false);
        QCOMPARE(changes.count(), shown ? 2 : 0);
    }
};

QTEST_GUILESS_MAIN(TestLateFlag)
#include "tst_lateflag.moc"
