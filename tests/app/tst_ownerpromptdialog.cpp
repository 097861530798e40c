#include "ownerprompt.h"
#include "quiet.h"

#include <QPointer>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

#include <memory>

Q_IMPORT_QML_PLUGIN(Kelvra_CorePlugin)

namespace {

const QByteArray host = R"(
import QtQuick
import QtQuick.Controls
import Kelvra.Core
import "qrc:/kelvra"

ApplicationWindow {
    required property OwnerPrompt target
    width: 390
    height: 844
    visible: true
    OwnerPromptDialog { objectName: "dialog"; prompt: target }
}
)";

} // namespace

class TestOwnerPromptDialog : public QObject
{
    Q_OBJECT

    QQmlEngine m_engine;
    std::unique_ptr<OwnerPrompt> m_prompt;
    std::unique_ptr<QQuickWindow> m_window;
    QList<QByteArray> m_answers;
    int m_cancels = 0;

    template<typename T = QQuickItem>
    T *find(const char *name) const
    {
        return m_window->findChild<T *>(QString::fromLatin1(name));
    }
    // Delegates are found through the item tree, not the object tree.
    static bool shows(QQuickItem *item, const QString &text)
    {
        if (item->isVisible() && item->property("text") == text)
            return true;
        const QList<QQuickItem *> children = item->childItems();
        return std::any_of(children.begin(), children.end(),
                           [&text](QQuickItem *child) { return shows(child, text); });
    }
    QObject *dialog() const { return m_window->findChild<QObject *>("dialog"); }

    void type(const QString &text)
    {
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
        component.setData(host, QUrl("qrc:/host.qml"));
        QObject *root =
            component.createWithInitialProperties({{"target", QVariant::fromValue(m_prompt.get())}});
        QVERIFY2(root, qPrintable(component.errorString()));
        m_window.reset(qobject_cast<QQuickWindow *>(root));
        QVERIFY(m_window);
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
        QTest::newRow("hidden answer") << true << 2; // TextInput.Password
        QTest::newRow("shown answer") << false << 0; // TextInput.Normal
    }

    void layout()
    {
        QFETCH(bool, secret);
        QVERIFY(dialog()->property("visible").toBool());
        QVERIFY(find("busy")->property("running").toBool());
        QVERIFY(!find("ok")->isEnabled());

        m_prompt->ask(secret ? "Password: " : "Code: ", secret);
        m_prompt->tell("Place your finger on the reader");
        QCOMPARE(find("reason")->property("text").toString(), m_prompt->reason());
        QCOMPARE(find("message")->property("text").toString(), m_prompt->message());
        QTEST(find("answer")->property("echoMode").toInt(), "echoMode");
        const auto hints = Qt::InputMethodHints(find("answer")->property("inputMethodHints").toInt());
        QVERIFY(hints.testFlags(Qt::ImhSensitiveData | Qt::ImhNoPredictiveText));
        QCOMPARE(hints.testFlag(Qt::ImhHiddenText), secret);
        QVERIFY(find("ok")->isEnabled());
        QVERIFY(!find("busy")->property("running").toBool());
        QVERIFY(shows(m_window->contentItem(), "Place your finger on the reader"));
    }

    void typedAnswerIsHandedOverOnce()
    {
        m_prompt->ask("Password: ", true);
        QTRY_VERIFY(find("answer")->hasActiveFocus());
        type("pässwortX");
        QTest::keyClick(m_window.get(), Qt::Key_Backspace);
        // No undo history of a secret: the X stays deleted.
        QTest::keySequence(m_window.get(), QKeySequence::Undo);
        QTest::keyClick(m_window.get(), Qt::Key_Return);
        QCOMPARE(m_answers, QList<QByteArray>{"p\xc3\xa4sswort"});
        QCOMPARE(find("answer")->property("text").toString(), QString());
        QVERIFY(!find("ok")->isEnabled());
        QVERIFY(find("busy")->property("running").toBool());
        QVERIFY(dialog()->property("visible").toBool()); // open until the prompt ends

        m_prompt->ask("Password: ", true);
        QTRY_VERIFY(find("answer")->hasActiveFocus());
        type("x");
        QMetaObject::invokeMethod(find("ok"), "clicked");
        QCOMPARE(m_answers.size(), 2);
        QCOMPARE(m_answers.last(), QByteArray("x"));
    }

    void cancel_data()
    {
        QTest::addColumn<bool>("escape");
        QTest::newRow("Cancel button") << false;
        QTest::newRow("Escape key") << true;
    }

    void cancel()
    {
        QFETCH(bool, escape);
        m_prompt->ask("Password: ", true);
        QTRY_VERIFY(find("answer")->hasActiveFocus());
        if (escape)
            QTest::keyClick(m_window.get(), Qt::Key_Escape);
        else
            QMetaObject::invokeMethod(find("cancel"), "clicked");
        QCOMPARE(m_cancels, 1);
        QTRY_VERIFY(!dialog()->property("visible").toBool());
    }

    void closesWithThePrompt()
    {
        m_prompt->ask("Password: ", true);
        m_prompt->close();
        QTRY_VERIFY(!dialog()->property("visible").toBool());
        m_prompt.reset(); // the context let go: no binding may complain
        QTest::qWait(50);
        QVERIFY(!dialog()->property("visible").toBool());
    }
};

QTEST_MAIN(TestOwnerPromptDialog)
#include "tst_ownerpromptdialog.moc"
