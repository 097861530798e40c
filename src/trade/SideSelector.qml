import QtQuick
import QtQuick.Controls
import Kelvra.Core
import Kelvra.Controls

// The trade side as a two-segment control: one radio button per side.
Row {
    id: root
    required property string side
    signal chosen(string choice)

    spacing: 4
    Accessible.role: Accessible.Grouping
    Accessible.name: "Side"

    // One segment; each instance below binds it to the side it stands for.
    component Segment: RadioButton {
        id: segment
        width: 76
        implicitHeight: 36
        padding: 0
        indicator: null
        contentItem: Text {
            text: segment.text
            textFormat: Text.PlainText
            font.pixelSize: Style.subheadline
            color: segment.checked ? Style.textOnTeal : Style.teal
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }
        background: Rectangle {
            radius: 8
            color: segment.checked ? Style.tealFill : "transparent"
            border.color: segment.checked ? Style.tealFill : Style.teal
            Accessible.ignored: true
            FocusFrame {
                shown: segment.visualFocus
            }
        }
        Keys.onReturnPressed: clicked()
        Keys.onEnterPressed: clicked()
        Accessible.name: text
        Accessible.onPressAction: clicked()
    }

    Segment {
        objectName: "sideBuy"
        text: "Buy"
        checked: root.side === text
        onClicked: root.chosen(text)
    }
    Segment {
        objectName: "sideSell"
        text: "Sell"
        checked: root.side === text
        onClicked: root.chosen(text)
    }
}
