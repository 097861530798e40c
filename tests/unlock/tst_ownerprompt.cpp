#include "quiet.h"
#include "unlock/ownerprompt.h"

#include <QHash>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

#include <functional>
#include <memory>

Q_IMPORT_QML_PLUGIN(Kelvra_CorePlugin)
Q_IMPORT_QML_PLUGIN(Kelvra_ControlsPlugin)

// The owner prompt, as a store and as the dialog that shows it.
class TestOwnerPrompt : public QObject
{
    Q_OBJECT

    QQmlEngine m_engine;

private slots:
    void initTestCase()
    {
        QQuickStyle::setStyle("Material");
        m_engine.addImportPath("qrc:/");
    }

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

    void question_data()
    {
        QTest::addColumn<bool>("secret");
        QTest::addColumn<QString>("ending"); // a key, a button, or the prompt closes
        QTest::addColumn<QList<QByteArray>>("answers");
        QTest::addColumn<int>("cancels");
        const QList<QByteArray> typed{"p\xc3\xa4sswort"};
        addRow("hidden answer, Return", true, "Return", typed, 0);
        addRow("shown answer, OK", false, "ok", typed, 0);
        addRow("Cancel button", true, "cancel", QList<QByteArray>{}, 1);
        addRow("Escape key", true, "Esc", QList<QByteArray>{}, 1);
        addRow("the prompt closes", true, "close", QList<QByteArray>{}, 0);
    }

    void question()
    {
        QFETCH(bool, secret);
        QFETCH(QString, ending);
        QList<QByteArray> answers;
        int cancels = 0;
        auto prompt = std::make_unique<OwnerPrompt>(
            "Open your Kelvra owner portal", "ada",
            [&](SecretBuffer typed) { answers << QByteArray(typed.data(), qsizetype(typed.size())); },
            [&] { ++cancels; });
        QQmlComponent component(&m_engine);
        component.setData(
            "import QtQuick\nimport QtQuick.Controls\nimport Kelvra.Core\nimport \"qrc:/kelvra\"\n"
            "ApplicationWindow { required property OwnerPrompt target; width: 390; height: 844;"
            " visible: true; OwnerPromptDialog { objectName: \"dialog\"; prompt: target } }",
            QUrl("qrc:/host.qml"));
        std::unique_ptr<QQuickWindow> window(qobject_cast<QQuickWindow *>(
            component.createWithInitialProperties({{"target", QVariant::fromValue(prompt.get())}})));
        QVERIFY2(window, qPrintable(component.errorString()));
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        const auto find = [&window](const char *name) { return window->findChild<QQuickItem *>(name); };
        const QObject *dialog = window->findChild<QObject *>("dialog");
        const auto shown = [dialog] { return dialog->property("opened").toBool(); };
        const auto busy = [&find] { return find("busy")->property("running").toBool(); };

        QTRY_VERIFY(shown() && busy()); // before the first question
        // Its size stays while the stack works and asks.
        const qreal height = dialog->property("height").toReal();
        prompt->ask(secret ? "Password: " : "Code: ", secret);
        QTRY_VERIFY(!busy());
        QCOMPARE(dialog->property("height").toReal(), height);
        prompt->tell("Place your finger on the reader");
        QCOMPARE(find("message")->property("text").toString(), secret ? "Password: " : "Code: ");
        QCOMPARE(find("answer")->property("echoMode").toInt(), secret ? 2 : 0); // Password, Normal
        const auto hints = Qt::InputMethodHints(find("answer")->property("inputMethodHints").toInt());
        QVERIFY(hints.testFlags(Qt::ImhSensitiveData | Qt::ImhNoPredictiveText));
        QCOMPARE(hints.testFlag(Qt::ImhHiddenText), secret);
        QVERIFY(find("ok")->isEnabled() && !busy());
        QVERIFY(find("info")->isVisible()
                && find("info")->property("text") == "Place your finger on the reader");

        QTRY_VERIFY(find("answer")->hasActiveFocus());
        for (QChar c : QStringLiteral("pässwortX"))
            QTest::sendKeyEvent(QTest::Click, window.get(), Qt::Key_A, QString(c), Qt::NoModifier);
        QTest::keyClick(window.get(), Qt::Key_Backspace);
        // No undo history of a secret: the X stays deleted.
        QTest::keySequence(window.get(), QKeySequence::Undo);
        if (ending == "close")
            prompt->close();
        else if (QQuickItem *button = find(qPrintable(ending)))
            QMetaObject::invokeMethod(button, "clicked");
        else
            QTest::keySequence(window.get(), QKeySequence(ending));
        QTEST(answers, "answers");
        QTEST(cancels, "cancels");
        // Open until the prompt ends, busy with the answer; the field is emptied either way.
        const bool answered = !answers.isEmpty();
        QTRY_COMPARE(shown(), answered);
        QVERIFY(busy() == answered && !find("ok")->isEnabled());
        QTRY_COMPARE(find("answer")->property("text").toString(), QString());

        prompt.reset(); // the context let go: no binding may complain
        QTRY_VERIFY(!dialog->property("visible").toBool());
    }
};

QTEST_MAIN(TestOwnerPrompt)
#include "tst_ownerprompt.moc"
