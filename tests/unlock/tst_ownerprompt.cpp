#include "quiet.h"
#include "unlock/ownerprompt.h"

#include <QHash>
#include <QTest>

#include <functional>

class TestOwnerPrompt : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    void steps_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("state"); // answers/cancels, busy, open, question, hints
        addRow("an answer only to a question, once", "answer ask answer answer",
               "1/0 busy open 'Password: ' []");
        addRow("hints last until the next answer", "tell ask answer tell ask",
               "1/0 idle open 'Password: ' [hint]");
        addRow("cancel while busy, once", "ask answer cancel cancel", "1/1 idle closed 'Password: ' []");
        addRow("nothing after the end", "close ask tell answer cancel", "0/0 idle closed '' []");
    }

    void steps()
    {
        QFETCH(QString, steps);
        int answers = 0;
        int cancels = 0;
        OwnerPrompt prompt(
            "", "", [&](SecretBuffer) { ++answers; }, [&] { ++cancels; });
        const QHash<QString, std::function<void()>> act{{"ask", [&] { prompt.ask("Password: ", true); }},
                                                        {"tell", [&] { prompt.tell("hint"); }},
                                                        {"answer", [&] { prompt.answer("s3cret"); }},
                                                        {"cancel", [&] { prompt.cancel(); }},
                                                        {"close", [&] { prompt.close(); }}};
        for (const QString &step : steps.split(u' '))
            act[step]();
        QTEST(QStringLiteral("%1/%2 %3 %4 '%5' [%6]")
                  .arg(answers)
                  .arg(cancels)
                  .arg(prompt.busy() ? "busy" : "idle", prompt.open() ? "open" : "closed", prompt.message(),
                       prompt.info().join(u',')),
              "state");
    }

    // The answer is handed over as NUL-terminated UTF-8 that moves without copies.
    void answerBytes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("utf8");
        addRow("empty", QString(), QByteArray());
        addRow("umlauts, beyond the BMP", "Grüß😀", QByteArray("Gr\xc3\xbc\xc3\x9f\xf0\x9f\x98\x80"));
        addRow("longer than a page", QString(5000, u'ß'), QByteArray(5000, 'x').replace("x", "\xc3\x9f"));
    }

    void answerBytes()
    {
        QByteArray got = "not handed over";
        const auto answered = [&got](SecretBuffer secret) {
            SecretBuffer moved = std::move(secret);
            QVERIFY(!secret.data() && (!moved.data() || moved.data()[moved.size()] == '\0'));
            got = QByteArray(moved.data(), qsizetype(moved.size()));
        };
        OwnerPrompt prompt("", "", answered, {});
        prompt.ask("Password: ", true);
        QFETCH(QString, text);
        prompt.answer(text);
        QTEST(got, "utf8");
    }
};

QTEST_GUILESS_MAIN(TestOwnerPrompt)
#include "tst_ownerprompt.moc"
