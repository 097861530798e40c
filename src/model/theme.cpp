#include "model/theme.h"

#include "app/colorscheme.h"
#include "model/brand.h"

namespace {

// `over` laid at `amount` over `under`, as an opaque colour.
QColor mixed(const QColor &under, const QColor &over, float amount)
{
    return QColor::fromRgbF(under.redF() + (over.redF() - under.redF()) * amount,
                            under.greenF() + (over.greenF() - under.greenF()) * amount,
                            under.blueF() + (over.blueF() - under.blueF()) * amount);
}

const QColor white(0xff, 0xff, 0xff);
const QColor brightTealColour = QColor::fromRgbF(0.0f, 0.7255f, 0.651f);

} // namespace

const Colours &Colours::light()
{
    static const Colours colours = [] {
        Colours c;
        c.groupedBackground = QColor(0xf2, 0xf2, 0xf7);
        c.card = white;
        // Material's black at 87 % on white, made opaque.
        c.foreground = QColor(0x21, 0x21, 0x21);
        c.secondary = QColor(0x6c, 0x6c, 0x70);
        c.separator = QColor(0xd9, 0xd9, 0xde);
        c.red = QColor(0xc6, 0x28, 0x28);
        // A shade below the brand's teal, which falls just short of 4.5:1 on the grey background.
        c.teal = QColor(0x00, 0x7a, 0x72);
        c.tealFill = ::teal();
        c.textOnTeal = white;
        c.tealTint = mixed(c.card, c.tealFill, 0.08f);
        c.navy = ::navy();
        c.textOnNavy = white;
        c.navyText = ::navy();
        c.brightTeal = brightTealColour;
        // White on the bright teal falls short of 3:1.
        c.textOnBrightTeal = ::navy();
        return c;
    }();
    return colours;
}

const Colours &Colours::dark()
{
    static const Colours colours = [] {
        Colours c;
        c.groupedBackground = QColor(0x0f, 0x11, 0x14);
        c.card = QColor(0x1d, 0x20, 0x24);
        c.foreground = QColor(0xec, 0xec, 0xf1);
        c.secondary = QColor(0xa3, 0xa3, 0xab);
        c.separator = QColor(0x3a, 0x3d, 0x42);
        c.red = QColor(0xff, 0x6b, 0x66);
        // The brand's hues, lightened until they read on the dark cards.
        c.teal = QColor(0x3c, 0xc7, 0xb8);
        c.tealFill = ::teal();
        c.textOnTeal = white;
        c.tealTint = mixed(c.card, c.teal, 0.12f);
        c.navy = QColor(0x0f, 0x3a, 0x63);
        c.textOnNavy = white;
        c.navyText = QColor(0x9c, 0xc3, 0xea);
        c.brightTeal = brightTealColour;
        c.textOnBrightTeal = ::navy();
        return c;
    }();
    return colours;
}

Theme::Theme(QObject *parent)
    : QObject(parent)
    , m_scheme(new ColorScheme(this))
{
    connect(m_scheme, &ColorScheme::darkChanged, this, &Theme::changed);
}

Theme::Theme(ColorScheme *scheme, QObject *parent)
    : QObject(parent)
    , m_scheme(scheme)
{
    connect(m_scheme, &ColorScheme::darkChanged, this, &Theme::changed);
}

bool Theme::dark() const
{
    return m_scheme->dark();
}
