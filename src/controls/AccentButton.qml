import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Core
import Kelvra.Controls

// A borderless button in the accent colour, as a list row shows it; red when destructive.
PushButton {
    id: root
    property bool destructive: false

    Layout.fillWidth: true
    flat: true
    leftPadding: 0
    font.pixelSize: Style.body
    contentItem: Label {
        text: root.text
        textFormat: Text.PlainText
        font: root.font
        color: root.destructive ? Style.red : Style.teal
        horizontalAlignment: Text.AlignLeft
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }
    FocusFrame {
        shown: root.visualFocus
    }
}
