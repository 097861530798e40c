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
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<int>("answers");
        QTest::addColumn<int>("cancels");
        QTest::addColumn<bool>("busy");
        QTest::addColumn<bool>("open");
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("secret");
        QTest::addColumn<QStringList>("info");

        const QString password = QStringLiteral("Password: ");
        const QStringList hint{"Place your finger on the reader"};
        QTest::newRow("waits for the stack")
            << QStringList{} << 0 << 0 << true << true << "" << true << QStringList{};
        QTest::newRow("no answer before a question")
            << QStringList{"answer"} << 0 << 0 << true << true << "" << true << QStringList{};
        QTest::newRow("question") << QStringList{"ask"} << 0 << 0 << false << true << password << true
                                  << QStringList{};
        QTest::newRow("answered, busy again")
            << QStringList{"ask", "answer"} << 1 << 0 << true << true << password << true << QStringList{};
        QTest::newRow("one answer per question") << QStringList{"ask", "answer", "answer"} << 1 << 0 << true
                                                 << true << password << true << QStringList{};
        QTest::newRow("next question, next answer") << QStringList{"ask", "answer", "ask", "answer"} << 2 << 0
                                                    << true << true << password << true << QStringList{};
        QTest::newRow("shown answer")
            << QStringList{"show"} << 0 << 0 << false << true << "Code: " << false << QStringList{};
        QTest::newRow("hint before the question")
            << QStringList{"tell", "ask"} << 0 << 0 << false << true << password << true << hint;
        QTest::newRow("an answer clears the hints") << QStringList{"tell", "ask", "answer"} << 1 << 0 << true
                                                    << true << password << true << QStringList{};
        QTest::newRow("a failure stays for the next question")
            << QStringList{"ask", "answer", "tell", "ask"} << 1 << 0 << false << true << password << true
            << hint;
        QTest::newRow("cancel") << QStringList{"ask", "cancel"} << 0 << 1 << false << false << password
                                << true << QStringList{};
        QTest::newRow("cancel while busy") << QStringList{"ask", "answer", "cancel"} << 1 << 1 << false
                                           << false << password << true << QStringList{};
        QTest::newRow("cancel once") << QStringList{"cancel", "cancel"} << 0 << 1 << false << false << ""
                                     << true << QStringList{};
        QTest::newRow("nothing after the end") << QStringList{"close", "ask", "tell", "answer", "cancel"} << 0
                                               << 0 << false << false << "" << true << QStringList{};
    }

    void steps()
    {
        QFETCH(QStringList, steps);
        int answers = 0;
        int cancels = 0;
        OwnerPrompt prompt(
            "Open your Kelvra owner portal", [&answers](SecretBuffer) { ++answers; },
            [&cancels] { ++cancels; });
        QSignalSpy opened(&prompt, &OwnerPrompt::openChanged);
        for (const QString &step : std::as_const(steps)) {
            if (step == "ask")
                prompt.ask("Password: ", true);
            else if (step == "show")
                prompt.ask("Code: ", false);
            else if (step == "tell")
                prompt.tell("Place your finger on the reader");
            else if (step == "answer")
                prompt.answer("s3cret");
            else if (step == "cancel")
                prompt.cancel();
            else if (step == "close")
                prompt.close();
        }
        QTEST(answers, "answers");
        QTEST(cancels, "cancels");
        QTEST(prompt.busy(), "busy");
        QTEST(prompt.open(), "open");
        QTEST(prompt.message(), "message");
        QTEST(prompt.secret(), "secret");
        QTEST(prompt.info(), "info");
        QCOMPARE(opened.count(), prompt.open() ? 0 : 1);
        QCOMPARE(prompt.reason(), QStringLiteral("Open your Kelvra owner portal"));
    }

    void answerBytes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("utf8");

        QTest::newRow("empty") << QString() << QByteArray();
        QTest::newRow("ASCII") << "s3cret pass" << QByteArray("s3cret pass");
        QTest::newRow("umlauts") << "Grüße"
                                 << QByteArray("Gr\xc3\xbc\xc3\x9f"
                                               "e");
        QTest::newRow("euro and arrow") << "€→" << QByteArray("\xe2\x82\xac\xe2\x86\x92");
        QTest::newRow("beyond the BMP") << "a😀" << QByteArray("a\xf0\x9f\x98\x80");
        QTest::newRow("longer than a page")
            << QString(5000, u'ß') << QByteArray(5000, 'x').replace("x", "\xc3\x9f");
    }

    void answerBytes()
    {
        QFETCH(QString, text);
        QFETCH(QByteArray, utf8);
        QByteArray got;
        bool terminated = false;
        OwnerPrompt prompt("",
                           [&](SecretBuffer secret) {
                               got = QByteArray(secret.data(), qsizetype(secret.size()));
                               terminated = !secret.data() || secret.data()[secret.size()] == '\0';
                               // Moving on keeps the bytes in one place.
                               SecretBuffer moved = std::move(secret);
                               QVERIFY(!secret.data() && secret.size() == 0);
                               QCOMPARE(moved.size(), std::size_t(utf8.size()));
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
