pragma Singleton
import QtQuick

// Text sizes and colours shared by the screens: a phone's text styles mapped to pixel sizes.
QtObject {
    readonly property color groupedBackground: "#f2f2f7"
    readonly property color card: "#ffffff"
    readonly property color secondary: "#6c6c70"
    readonly property color separator: "#d9d9de"
    readonly property color red: "#c62828"
    // The vault card's buttons: a brighter shade than the accent.
    readonly property color brightTeal: Qt.rgba(0.0, 0.7255, 0.651, 1.0)

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
