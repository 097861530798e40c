import QtQuick
import QtQuick.Templates as T
import Kelvra.Core
import Kelvra.Controls

// A button that is a filled card with its text, drawn by us alone: no Material background,
// ripple or state layer. It behaves as PushButton does (Return, Enter, Space, a screen reader's
// Press action) and costs a fraction as much to make, which counts on the first frame.
T.Button {
    id: root
    required property color fill
    required property color ink
    // False draws the text alone.
    property bool filled: true
    // The focus ring's colour, for a button on a dark card.
    property color ring: Style.teal

    implicitWidth: Math.max(implicitBackgroundWidth + leftInset + rightInset, implicitContentWidth + leftPadding + rightPadding)
    implicitHeight: 56
    padding: 16
    // The card is 44 high in a 56-high button, as Material draws its buttons.
    topInset: 6
    bottomInset: 6
    font.pixelSize: Style.headline
    font.weight: Font.Medium
    font.capitalization: Font.MixedCase
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
    Accessible.name: text
    Accessible.onPressAction: clicked()

    contentItem: Text {
        text: root.text
        textFormat: Text.PlainText
        font: root.font
        color: root.ink
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        Accessible.ignored: true
    }
    background: Rectangle {
        visible: root.filled
        radius: 4
        color: root.down ? Qt.darker(root.fill, 1.15) : root.fill
        Accessible.ignored: true
    }
    FocusFrame {
        shown: root.visualFocus
        border.color: root.ring
    }
}
