#include "appharness.h"
#include "model/theme.h"
#include "quiet.h"
#include "standins.h"

#include <QDBusConnectionInterface>
#include <QQmlContext>
#include <QQmlProperty>
#include <QTest>

// The window follows the desktop's colour scheme, as a stand-in for the desktop portal tells
// it, on the private session bus of dbus-run-session.
class TestColorScheme : public QObject
{
    Q_OBJECT

    // What the window shows: Material's theme (1 is dark) and the welcome screen's background.
    static bool shows(const AppHarness &app, bool dark)
    {
        QQuickWindow *window = app.window();
        const QColor corner = window->grabWindow().pixelColor(2, 2);
        const int material =
            QQmlProperty(window, QStringLiteral("Material.theme"), qmlContext(window)).read().toInt();
        return corner == (dark ? Colours::dark() : Colours::light()).card && material == (dark ? 1 : 0);
    }

private slots:
    void init() { failOnAnyWarning(); }

    void followsDesktop_data()
    {
        QTest::addColumn<int>("scheme"); // -1: no portal on the bus
        QTest::addColumn<bool>("dark");
        addRow("no portal", -1, false);
        addRow("no preference", 0, false);
        addRow("dark", 1, true);
    }

    void followsDesktop()
    {
        QFETCH(int, scheme);
        QFETCH(bool, dark);
        if (scheme < 0) {
            AppHarness app;
            QVERIFY(openScreen(app, OnWelcome));
            QVERIFY(shows(app, false));
            return;
        }
        StandInPortal portal{uint(scheme)};
        QVERIFY(portal.registered());
        AppHarness app;
        QVERIFY(openScreen(app, OnWelcome));
        QTRY_VERIFY(shows(app, dark));
        // No preference looks as no answer yet: wait for the read, and for the bus to have
        // taken the window's subscription, which it was sent before the read.
        QTRY_COMPARE(portal.reads(), 1);
        QVERIFY(QDBusConnection::sessionBus().interface()->isServiceRegistered(
            QStringLiteral("org.freedesktop.portal.Desktop")));

        // Switched while the window is open, both ways.
        portal.setScheme(dark ? 2u : 1u);
        QTRY_VERIFY(shows(app, !dark));
        portal.setScheme(uint(scheme));
        QTRY_VERIFY(shows(app, dark));
    }
};

QTEST_MAIN(TestColorScheme)
#include "tst_colorscheme.moc"
