#include "appharness.h"
#include "quiet.h"

#include <QQuickStyle>
#include <QTest>
#include <QtQuickTest/quicktest.h>

namespace {

// The text items of a screen: what is written must fit its own box, and the box the window.
void texts(QQuickItem *item, QList<QQuickItem *> &found)
{
    if (!item->isVisible())
        return;
    if (item->inherits("QQuickText") || item->inherits("QQuickTextEdit") || item->inherits("QQuickTextInput"))
        found.append(item);
    for (QQuickItem *child : item->childItems())
        texts(child, found);
}

} // namespace

// Every screen from 360 to 1280 pixels wide; the suite runs this at scale factors 1, 1.5 and 2.
class TestLayout : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QQuickStyle::setStyle(QStringLiteral("Material")); }
    void init() { failOnAnyWarning(); }

    void fits_data()
    {
        QTest::addColumn<int>("screen");
        QTest::addColumn<int>("width");
        const char *names[] = {"welcome", "home", "markets", "trade", "guest", "owner"};
        for (int screen = OnWelcome; screen <= AsOwner; ++screen) {
            for (int width : {360, 1280})
                QTest::addRow("%s, %d", names[screen + 1], width) << screen << width;
        }
    }

    void fits()
    {
        QFETCH(int, screen);
        QFETCH(int, width);
        AppHarness app;
        QVERIFY(openScreen(app, screen));
        app.window()->resize(width, 2400); // tall enough for the whole of every screen
        QVERIFY(QQuickTest::qWaitForPolish(app.window()));

        QList<QQuickItem *> found;
        texts(app.window()->contentItem(), found);
        QVERIFY(found.size() > 3);
        for (QQuickItem *item : found) {
            const QString what = item->property("text").toString();
            QVERIFY2(item->property("contentWidth").toReal() <= item->width() + 0.5, qPrintable(what));
            // Within its card, its row and every other box around it, up to the window.
            const auto box = item->mapRectToScene(QRectF(0, 0, item->width(), item->height()));
            for (QQuickItem *around = item->parentItem(); around; around = around->parentItem()) {
                const auto outer = around->mapRectToScene(QRectF(0, 0, around->width(), around->height()));
                QVERIFY2(box.left() >= outer.left() - 0.5 && box.right() <= outer.right() + 0.5,
                         qPrintable(what + QStringLiteral(" in ")
                                    + QString::fromLatin1(around->metaObject()->className())));
            }
        }
        // The window is drawn at the scale the test runs under.
        const qreal ratio = app.window()->devicePixelRatio();
        QCOMPARE(app.window()->grabWindow().size(), QSize(qRound(width * ratio), qRound(2400 * ratio)));
    }
};

QTEST_MAIN(TestLayout)
#include "tst_layout.moc"
