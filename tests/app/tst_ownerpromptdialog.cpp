#include "ownerprompt.h"
#include "quiet.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

#include <memory>

Q_IMPORT_QML_PLUGIN(Kelvra_CorePlugin)

class TestOwnerPromptDialog : public QObject
{
    Q_OBJECT

    QQmlEngine m_engine;
    std::unique_ptr<OwnerPrompt> m_prompt;
    std::unique_ptr<QQuickWindow> m_window;
    QList<QByteArray> m_answers;
    int m_cancels = 0;

    QQuickItem *find(const char *name) const { return m_window->findChild<QQuickItem *>(name); }
    bool shown() const { return m_window->findChild<QObject *>("dialog")->property("visible").toBool(); }
    // Delegates are found through the item tree, not the object tree.
    static bool shows(QQuickItem *item, const QString &text)
    {
        const QList<QQuickItem *> children = item->childItems();
        return (item->isVisible() && item->property("text") == text)
               || std::any_of(children.begin(), children.end(),
                              [&](QQuickItem *c) { return shows(c, text); });
    }
    void askAndType(const QString &text)
    {
        m_prompt->ask("Password: ", true);
        QTRY_VERIFY(find("answer")->hasActiveFocus());
        for (QChar c : text)
            QTest::sendKeyEvent(QTest::Click, m_window.get(), Qt::Key_A, QString(c), Qt::NoModifier);
    }

private slots:
    void initTestCase()
    {
        QQuickStyle::setStyle("Material");
        m_engine.addImportPath("qrc:/");
    }

    void init()
    {
        failOnAnyWarning();
        m_answers.clear();
        m_cancels = 0;
        m_prompt = std::make_unique<OwnerPrompt>(
            "Open your Kelvra owner portal",
            [this](SecretBuffer secret) {
                m_answers.append(QByteArray(secret.data(), qsizetype(secret.size())));
            },
            [this] { ++m_cancels; });
        QQmlComponent component(&m_engine);
        component.setData(
            "import QtQuick\nimport QtQuick.Controls\nimport Kelvra.Core\nimport \"qrc:/kelvra\"\n"
            "ApplicationWindow { required property OwnerPrompt target; width: 390; height: 844;"
            " visible: true; OwnerPromptDialog { objectName: \"dialog\"; prompt: target } }",
            QUrl("qrc:/host.qml"));
        m_window.reset(qobject_cast<QQuickWindow *>(
            component.createWithInitialProperties({{"target", QVariant::fromValue(m_prompt.get())}})));
        QVERIFY2(m_window, qPrintable(component.errorString()));
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
    }

    void cleanup()
    {
        m_window.reset();
        m_prompt.reset();
    }

    void layout_data()
    {
        QTest::addColumn<bool>("secret");
        QTest::addColumn<int>("echoMode");
        addRow("hidden answer", true, 2); // TextInput.Password
        addRow("shown answer", false, 0); // TextInput.Normal
    }

    void layout()
    {
        QFETCH(bool, secret);
        QVERIFY(shown() && find("busy")->property("running").toBool() && !find("ok")->isEnabled());
        m_prompt->ask(secret ? "Password: " : "Code: ", secret);
        m_prompt->tell("Place your finger on the reader");
        QCOMPARE(find("reason")->property("text").toString(), m_prompt->reason());
        QCOMPARE(find("message")->property("text").toString(), m_prompt->message());
        QTEST(find("answer")->property("echoMode").toInt(), "echoMode");
        const auto hints = Qt::InputMethodHints(find("answer")->property("inputMethodHints").toInt());
        QVERIFY(hints.testFlags(Qt::ImhSensitiveData | Qt::ImhNoPredictiveText));
        QCOMPARE(hints.testFlag(Qt::ImhHiddenText), secret);
        QVERIFY(find("ok")->isEnabled() && !find("busy")->property("running").toBool());
        QVERIFY(shows(m_window->contentItem(), "Place your finger on the reader"));
    }

    void typedAnswerIsHandedOverOnce()
    {
        askAndType("pässwortX");
        QTest::keyClick(m_window.get(), Qt::Key_Backspace);
        // No undo history of a secret: the X stays deleted.
        QTest::keySequence(m_window.get(), QKeySequence::Undo);
        QTest::keyClick(m_window.get(), Qt::Key_Return);
        QCOMPARE(m_answers, QList<QByteArray>{"p\xc3\xa4sswort"});
        QCOMPARE(find("answer")->property("text").toString(), QString());
        QVERIFY(!find("ok")->isEnabled() && find("busy")->property("running").toBool());
        QVERIFY(shown()); // open until the prompt ends

        askAndType("x");
        QMetaObject::invokeMethod(find("ok"), "clicked");
        QCOMPARE(m_answers, (QList<QByteArray>{"p\xc3\xa4sswort", "x"}));
    }

    void cancel_data()
    {
        QTest::addColumn<bool>("escape");
        addRow("Cancel button", false);
        addRow("Escape key", true);
    }

    void cancel()
    {
        QFETCH(bool, escape);
        askAndType("");
        if (escape)
            QTest::keyClick(m_window.get(), Qt::Key_Escape);
        else
            QMetaObject::invokeMethod(find("cancel"), "clicked");
        QCOMPARE(m_cancels, 1);
        QTRY_VERIFY(!shown());
    }

    void closesWithThePrompt()
    {
        m_prompt->ask("Password: ", true);
        m_prompt->close();
        QTRY_VERIFY(!shown());
        m_prompt.reset(); // the context let go: no binding may complain
        QTest::qWait(50);
        QVERIFY(!shown());
    }
};

QTEST_MAIN(TestOwnerPromptDialog)
#include "tst_ownerpromptdialog.moc"
