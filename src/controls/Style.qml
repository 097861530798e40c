pragma Singleton
import QtQuick
import Kelvra.Core

// Text sizes and colours shared by the screens: a phone's text styles mapped to pixel sizes. The
// colours are the theme's, in the desktop's scheme.
QtObject {
    readonly property bool dark: Theme.dark
    readonly property color groupedBackground: Theme.groupedBackground
    readonly property color card: Theme.card
    readonly property color foreground: Theme.foreground
    readonly property color secondary: Theme.secondary
    readonly property color separator: Theme.separator
    readonly property color red: Theme.red
    readonly property color teal: Theme.teal
    readonly property color tealFill: Theme.tealFill
    readonly property color textOnTeal: Theme.textOnTeal
    readonly property color tealTint: Theme.tealTint
    readonly property color navy: Theme.navy
    readonly property color textOnNavy: Theme.textOnNavy
    readonly property color navyText: Theme.navyText
    // The vault card's buttons: a brighter shade than the accent.
    readonly property color brightTeal: Theme.brightTeal
    readonly property color textOnBrightTeal: Theme.textOnBrightTeal

    readonly property int largeTitle: 30
    readonly property int title2: 21
    readonly property int title3: 19
    readonly property int headline: 16
    readonly property int body: 16
    readonly property int subheadline: 14
    readonly property int footnote: 13
    readonly property int caption: 12

    readonly property string monospace: "monospace"

    // Screens keep to a readable column in a wide window, centred.
    readonly property int columnWidth: 720
    readonly property int welcomeWidth: 480
}
