#pragma once

#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

class ColorScheme;

// The window's colours in one scheme. Each text colour is named for the background it is drawn
// on where that is not the plain background or a card: `textOnTeal` is text on `tealFill`.
struct Colours
{
    QColor groupedBackground; // behind the cards
    QColor card;              // cards, the welcome screen, the tab bar
    QColor foreground;        // text
    QColor secondary;         // quieter text
    QColor separator;
    QColor red;        // falling prices, destructive actions
    QColor teal;       // text in the accent colour: links, rising prices, the chosen tab
    QColor tealFill;   // filled buttons
    QColor textOnTeal; // text on tealFill
    QColor tealTint;   // the light button behind teal text
    QColor navy;       // the vault card
    QColor textOnNavy; // text on navy
    QColor navyText;   // headings in the brand's navy
    QColor brightTeal; // the vault card's buttons
    QColor textOnBrightTeal;

    static const Colours &light();
    static const Colours &dark();
};

// The colours of the scheme the desktop prefers, changing with it.
class Theme : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool dark READ dark NOTIFY changed)
    Q_PROPERTY(QColor groupedBackground READ groupedBackground NOTIFY changed)
    Q_PROPERTY(QColor card READ card NOTIFY changed)
    Q_PROPERTY(QColor foreground READ foreground NOTIFY changed)
    Q_PROPERTY(QColor secondary READ secondary NOTIFY changed)
    Q_PROPERTY(QColor separator READ separator NOTIFY changed)
    Q_PROPERTY(QColor red READ red NOTIFY changed)
    Q_PROPERTY(QColor teal READ teal NOTIFY changed)
    Q_PROPERTY(QColor tealFill READ tealFill NOTIFY changed)
    Q_PROPERTY(QColor textOnTeal READ textOnTeal NOTIFY changed)
    Q_PROPERTY(QColor tealTint READ tealTint NOTIFY changed)
    Q_PROPERTY(QColor navy READ navy NOTIFY changed)
    Q_PROPERTY(QColor textOnNavy READ textOnNavy NOTIFY changed)
    Q_PROPERTY(QColor navyText READ navyText NOTIFY changed)
    Q_PROPERTY(QColor brightTeal READ brightTeal NOTIFY changed)
    Q_PROPERTY(QColor textOnBrightTeal READ textOnBrightTeal NOTIFY changed)

public:
    // Follows the desktop through the session bus.
    explicit Theme(QObject *parent = nullptr);
    // Follows `scheme`, which must outlive the theme.
    explicit Theme(ColorScheme *scheme, QObject *parent = nullptr);

    bool dark() const;
    const Colours &colours() const { return dark() ? Colours::dark() : Colours::light(); }

    QColor groupedBackground() const { return colours().groupedBackground; }
    QColor card() const { return colours().card; }
    QColor foreground() const { return colours().foreground; }
    QColor secondary() const { return colours().secondary; }
    QColor separator() const { return colours().separator; }
    QColor red() const { return colours().red; }
    QColor teal() const { return colours().teal; }
    QColor tealFill() const { return colours().tealFill; }
    QColor textOnTeal() const { return colours().textOnTeal; }
    QColor tealTint() const { return colours().tealTint; }
    QColor navy() const { return colours().navy; }
    QColor textOnNavy() const { return colours().textOnNavy; }
    QColor navyText() const { return colours().navyText; }
    QColor brightTeal() const { return colours().brightTeal; }
    QColor textOnBrightTeal() const { return colours().textOnBrightTeal; }

signals:
    void changed();

private:
    ColorScheme *m_scheme;
};
