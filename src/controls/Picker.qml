import QtQuick
import QtQuick.Templates as T
import Kelvra.Controls

// A single-choice picker over a short list of texts, drawn by us: a bordered box with the chosen
// text and an arrow, and a plain list below it while open. It keeps the combo box's keys (Space
// opens, Up and Down choose, Return confirms) and its role for screen readers; Material's own
// draws a shadow through an offscreen layer and colours its arrow image, which on a window drawn
// by the CPU cost more memory than the rest of the form.
T.ComboBox {
    id: root

    implicitWidth: 160
    implicitHeight: 48
    topInset: 4
    bottomInset: 4
    leftPadding: 12
    rightPadding: 32
    font.pixelSize: Style.body

    contentItem: Text {
        text: root.displayText
        textFormat: Text.PlainText
        font: root.font
        color: Style.foreground
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        Accessible.ignored: true
    }
    indicator: Text {
        x: root.width - width - 12
        y: (root.height - height) / 2
        text: "▾"
        textFormat: Text.PlainText
        font.pixelSize: Style.body
        color: Style.secondary
        Accessible.ignored: true
    }
    background: Rectangle {
        radius: 4
        color: Style.card
        border.width: 1
        border.color: root.pressed || root.popup.visible ? Style.teal : Style.separator
        Accessible.ignored: true
        FocusFrame {
            shown: root.visualFocus
        }
    }
    delegate: T.ItemDelegate {
        id: option
        required property string modelData

        width: ListView.view.width
        implicitHeight: 44
        leftPadding: 12
        rightPadding: 12
        text: modelData
        // The list follows the highlighted choice.
        highlighted: ListView.isCurrentItem
        contentItem: Text {
            text: option.text
            textFormat: Text.PlainText
            font: option.font
            color: Style.foreground
            verticalAlignment: Text.AlignVCenter
            elide: Text.ElideRight
        }
        background: Rectangle {
            color: option.highlighted || option.down ? Style.tealTint : "transparent"
        }
    }
    popup: T.Popup {
        y: root.height - root.bottomInset
        width: root.width
        implicitHeight: contentItem.implicitHeight + topPadding + bottomPadding
        padding: 1
        contentItem: ListView {
            clip: true
            implicitHeight: contentHeight
            model: root.delegateModel
            currentIndex: root.highlightedIndex
            interactive: false
        }
        background: Rectangle {
            radius: 4
            color: Style.card
            border.width: 1
            border.color: Style.separator
        }
    }
}
