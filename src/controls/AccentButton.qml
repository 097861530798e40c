import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Core
import Kelvra.Controls

// A borderless button in the accent colour, as a list row shows it; red when destructive. While
// what it started runs it is `busy`: it cannot be pressed again and shows that it works. A text
// too long for a narrow window wraps.
PushButton {
    id: root
    property bool destructive: false
    property bool busy: false

    Layout.fillWidth: true
    enabled: !busy
    flat: true
    leftPadding: 0
    rightPadding: busy ? spinner.width + 8 : 0
    font.pixelSize: Style.body
    contentItem: Label {
        text: root.text
        textFormat: Text.PlainText
        font: root.font
        color: !root.enabled ? Style.secondary : root.destructive ? Style.red : Style.teal
        horizontalAlignment: Text.AlignLeft
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.Wrap
        Accessible.ignored: true
    }
    Working {
        id: spinner
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        shown: root.busy
    }
    FocusFrame {
        shown: root.visualFocus
    }
}
