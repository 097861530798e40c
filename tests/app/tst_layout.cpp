#include "appharness.h"
#include "quiet.h"

#include <QRegularExpression>
#include <QTest>
#include <QtQuickTest/quicktest.h>

// Every screen from the window's minimum width to 1280 pixels; the suite runs this at scale
// factors 1, 1.5 and 2.
class TestLayout : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    void fits_data()
    {
        QTest::addColumn<int>("screen");
        QTest::addColumn<int>("width");
        const char *names[] = {"welcome", "home", "markets", "trade", "guest", "owner"};
        for (int screen = OnWelcome; screen <= AsOwner; ++screen)
            for (int width : {0, 360, 1280}) // 0: the window's minimum
                QTest::addRow("%s, %d", names[screen + 1], width) << screen << width;
    }

    // Each text shown fits its own box, and the box each box around it, up to the window. An
    // amount or a time short enough for half the window is never broken before its unit.
    void fits()
    {
        QFETCH(int, screen);
        QFETCH(int, width);
        AppHarness app;
        QVERIFY(openScreen(app, screen));
        QCOMPARE(app.window()->devicePixelRatio(), qEnvironmentVariable("QT_SCALE_FACTOR", "1").toDouble());
        app.window()->resize(width ? width : app.window()->minimumWidth(), 2400); // all of every screen
        QVERIFY(QQuickTest::qWaitForPolish(app.window()));
        const auto box = [](QQuickItem *item) {
            return item->mapRectToScene(QRectF(QPointF(), item->size()));
        };
        const QRegularExpression unit(QStringLiteral("\\d (AM|PM|kUSD)$"));
        int texts = 0;
        QList<QQuickItem *> pending{app.window()->contentItem()};
        while (!pending.isEmpty()) {
            QQuickItem *item = pending.takeLast();
            if (!item->isVisible())
                continue;
            pending += item->childItems();
            if (!item->inherits("QQuickText") && !item->inherits("QQuickTextEdit")
                && !item->inherits("QQuickTextInput"))
                continue;
            ++texts;
            const QString what = item->property("text").toString();
            QVERIFY2(item->property("contentWidth").toReal() <= item->width() + 0.5, qPrintable(what));
            if (unit.match(what).hasMatch() && item->implicitWidth() <= app.window()->width() / 2)
                QVERIFY2(item->property("lineCount").toInt() == 1, qPrintable(what));
            const QRectF inner = box(item);
            for (QQuickItem *around = item->parentItem(); around; around = around->parentItem())
                QVERIFY2(inner.left() >= box(around).left() - 0.5
                             && inner.right() <= box(around).right() + 0.5,
                         qPrintable(what + " in " + around->metaObject()->className()));
        }
        QVERIFY(texts > 3);
    }
};

QTEST_MAIN(TestLayout)
#include "tst_layout.moc"
