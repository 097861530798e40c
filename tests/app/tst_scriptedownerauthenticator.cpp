#include "quiet.h"
#include "scriptedownerauthenticator.h"

#include <QCoreApplication>
#include <QTest>
#include <QThread>

#include <atomic>

Q_DECLARE_METATYPE(ScriptedOwnerAuthenticator::Delivery)

namespace {

struct Reply
{
    std::atomic<int> count = 0;
    std::atomic<bool> authenticated = false;
    std::atomic<bool> onGuiThread = false;
};

} // namespace

class TestScriptedOwnerAuthenticator : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    void delivery_data()
    {
        using Delivery = ScriptedOwnerAuthenticator::Delivery;
        QTest::addColumn<Delivery>("delivery");
        QTest::addColumn<QList<bool>>("outcomes");

        QTest::newRow("queued") << Delivery::Queued << QList<bool>{true, false, false};
        QTest::newRow("from a thread") << Delivery::Thread << QList<bool>{false, true, true};
    }

    void delivery()
    {
        QFETCH(ScriptedOwnerAuthenticator::Delivery, delivery);
        QFETCH(QList<bool>, outcomes);
        const bool queued = delivery == ScriptedOwnerAuthenticator::Delivery::Queued;
        std::vector<Reply> replies(std::size_t(outcomes.size()));
        {
            ScriptedOwnerAuthenticator authenticator;
            authenticator.setDelivery(delivery);
            for (bool outcome : std::as_const(outcomes))
                authenticator.queue(outcome);
            QStringList reasons;
            for (std::size_t i = 0; i < replies.size(); ++i) {
                Reply &reply = replies[i];
                reasons.append(QString::number(i));
                auto context = authenticator.context();
                QVERIFY(context->canEvaluate());
                context->evaluate(reasons.last(), [&reply](bool authenticated) {
                    ++reply.count;
                    reply.authenticated = authenticated;
                    reply.onGuiThread = QThread::currentThread() == QCoreApplication::instance()->thread();
                });
                if (queued)
                    QCOMPARE(reply.count.load(), 0); // never within evaluate()
            }
            QCOMPARE(authenticator.reasons(), reasons);
            QCOMPARE(authenticator.checks(), int(replies.size()));
            QCOMPARE(authenticator.held(), 0);
            if (queued)
                QTRY_COMPARE(replies.back().count.load(), 1);
        } // joins the reply threads
        for (std::size_t i = 0; i < replies.size(); ++i) {
            QCOMPARE(replies[i].count.load(), 1);
            QCOMPARE(replies[i].authenticated.load(), outcomes.at(qsizetype(i)));
            QCOMPARE(replies[i].onGuiThread.load(), queued);
        }
    }

    void heldUntilResolved()
    {
        ScriptedOwnerAuthenticator authenticator;
        authenticator.setAvailable(false);
        auto context = authenticator.context();
        QVERIFY(!context->canEvaluate());
        QList<bool> got;
        context->evaluate("first", [&got](bool ok) { got.append(ok); });
        context->evaluate("second", [&got](bool ok) { got.append(ok); });
        QCOMPARE(authenticator.held(), 2);
        QTest::qWait(20);
        QVERIFY(got.isEmpty());
        authenticator.resolve(true);
        authenticator.resolve(false);
        authenticator.resolve(true); // none left
        QCOMPARE(authenticator.held(), 0);
        QTRY_COMPARE(got, (QList<bool>{true, false}));
        QCOMPARE(authenticator.contexts(), 1);
    }
};

QTEST_GUILESS_MAIN(TestScriptedOwnerAuthenticator)
#include "tst_scriptedownerauthenticator.moc"
