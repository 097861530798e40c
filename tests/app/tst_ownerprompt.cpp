#include "ownerprompt.h"
#include "quiet.h"

#include <QSignalSpy>
#include <QTest>

class TestOwnerPrompt : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    void steps_data()
    {
        QTest::addColumn<QString>("steps");
        // answers/cancels, busy, open, message, secret, info
        QTest::addColumn<QString>("state");
        addRow("waits for the stack", "", "0/0 busy open '' secret []");
        addRow("no answer before a question", "answer", "0/0 busy open '' secret []");
        addRow("hint before the question", "tell ask", "0/0 idle open 'Password: ' secret [hint]");
        addRow("shown answer", "show", "0/0 idle open 'Code: ' shown []");
        addRow("one answer per question", "ask answer answer", "1/0 busy open 'Password: ' secret []");
        addRow("next question, next answer", "ask answer ask answer", "2/0 busy open 'Password: ' secret []");
        addRow("an answer clears the hints", "tell ask answer", "1/0 busy open 'Password: ' secret []");
        addRow("a failure stays for the next question", "ask answer tell ask",
               "1/0 idle open 'Password: ' secret [hint]");
        addRow("cancel", "ask cancel", "0/1 idle closed 'Password: ' secret []");
        addRow("cancel while busy", "ask answer cancel", "1/1 idle closed 'Password: ' secret []");
        addRow("cancel once", "cancel cancel", "0/1 idle closed '' secret []");
        addRow("nothing after the end", "close ask tell answer cancel", "0/0 idle closed '' secret []");
    }

    void steps()
    {
        QFETCH(QString, steps);
        int answers = 0;
        int cancels = 0;
        OwnerPrompt prompt(
            "Open your Kelvra owner portal", [&](SecretBuffer) { ++answers; }, [&] { ++cancels; });
        QSignalSpy opened(&prompt, &OwnerPrompt::openChanged);
        for (const QString &step : steps.split(u' ', Qt::SkipEmptyParts)) {
            if (step == "ask" || step == "show")
                prompt.ask(step == "ask" ? "Password: " : "Code: ", step == "ask");
            else if (step == "tell")
                prompt.tell("hint");
            else if (step == "answer")
                prompt.answer("s3cret");
            else if (step == "cancel")
                prompt.cancel();
            else
                prompt.close();
        }
        QTEST(QStringLiteral("%1/%2 %3 %4 '%5' %6 [%7]")
                  .arg(answers)
                  .arg(cancels)
                  .arg(prompt.busy() ? "busy" : "idle", prompt.open() ? "open" : "closed", prompt.message(),
                       prompt.secret() ? "secret" : "shown", prompt.info().join(u',')),
              "state");
        QCOMPARE(opened.count(), prompt.open() ? 0 : 1);
        QCOMPARE(prompt.reason(), QStringLiteral("Open your Kelvra owner portal"));
    }

    // The answer is handed over as NUL-terminated UTF-8 that moves without copies.
    void answerBytes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("utf8");
        addRow("empty", QString(), QByteArray());
        addRow("umlauts", "Grüße", QByteArray("Gr\xc3\xbc\xc3\x9f") + "e");
        addRow("beyond the BMP", "a😀", QByteArray("a\xf0\x9f\x98\x80"));
        addRow("longer than a page", QString(5000, u'ß'), QByteArray(5000, 'x').replace("x", "\xc3\x9f"));
    }

    void answerBytes()
    {
        QFETCH(QString, text);
        QFETCH(QByteArray, utf8);
        QByteArray got;
        bool terminated = false;
        OwnerPrompt prompt("",
                           [&](SecretBuffer secret) {
                               terminated = !secret.data() || secret.data()[secret.size()] == '\0';
                               SecretBuffer moved = std::move(secret);
                               got = secret.data() ? "not moved"
                                                   : QByteArray(moved.data(), qsizetype(moved.size()));
                           },
                           {});
        prompt.ask("Password: ", true);
        prompt.answer(text);
        QCOMPARE(got, utf8);
        QVERIFY(terminated);
    }
};

QTEST_GUILESS_MAIN(TestOwnerPrompt)
#include "tst_ownerprompt.moc"
