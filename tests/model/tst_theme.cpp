#include "model/theme.h"

#include <QTest>

#include <algorithm>
#include <cmath>

// Text against its background in both schemes, as WCAG measures contrast.
class TestTheme : public QObject
{
    Q_OBJECT

    // WCAG's ratio of the lighter colour's relative luminance to the darker's.
    static double contrast(const QColor &a, const QColor &b)
    {
        const auto luminance = [](const QColor &colour) {
            double sum = 0;
            for (const auto &[channel, weight] :
                 {std::pair{colour.redF(), 0.2126}, {colour.greenF(), 0.7152}, {colour.blueF(), 0.0722}})
                sum += weight
                       * (channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4));
            return sum + 0.05;
        };
        return std::max(luminance(a), luminance(b)) / std::min(luminance(a), luminance(b));
    }

private slots:
    void textIsReadable_data()
    {
        QTest::addColumn<QColor>("text");
        QTest::addColumn<QColor>("background");
        QTest::addColumn<double>("least");
        // Every text colour the screens draw, on each background it is drawn on. Large text
        // (the titles in navy) needs 3:1, all other text 4.5:1.
        for (const bool dark : {false, true}) {
            const Colours &c = dark ? Colours::dark() : Colours::light();
            const auto row = [dark](const char *name, const QColor &text, const QColor &background,
                                    double least) {
                QTest::addRow("%s %s", dark ? "dark" : "light", name) << text << background << least;
            };
            row("text on background", c.foreground, c.groupedBackground, 4.5);
            row("text on card", c.foreground, c.card, 4.5);
            row("secondary on background", c.secondary, c.groupedBackground, 4.5);
            row("secondary on card", c.secondary, c.card, 4.5);
            row("teal on background", c.teal, c.groupedBackground, 4.5);
            row("teal on card", c.teal, c.card, 4.5);
            row("teal on tint", c.teal, c.tealTint, 4.5);
            row("red on card", c.red, c.card, 4.5);
            row("on teal", c.textOnTeal, c.tealFill, 4.5);
            row("on navy", c.textOnNavy, c.navy, 4.5);
            row("on bright teal", c.textOnBrightTeal, c.brightTeal, 4.5);
            row("navy title on background", c.navyText, c.groupedBackground, 3.0);
            row("navy title on card", c.navyText, c.card, 3.0);
        }
    }

    void textIsReadable()
    {
        QFETCH(QColor, text);
        QFETCH(QColor, background);
        QFETCH(double, least);
        QCOMPARE(text.alpha(), 255);
        QCOMPARE(background.alpha(), 255);
        const double ratio = contrast(text, background);
        QVERIFY2(ratio >= least, qPrintable(QString::number(ratio, 'f', 2)));
    }
};

QTEST_GUILESS_MAIN(TestTheme)
#include "tst_theme.moc"
