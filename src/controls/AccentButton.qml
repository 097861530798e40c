import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Core
import Kelvra.Controls

// A borderless button in the accent colour, as a list row shows it; red when destructive. While
// what it started runs it is `busy`: it cannot be pressed again, and once the work has gone on a
// moment it shows that it works. A text too long for a narrow window wraps.
PushButton {
    id: root
    property bool destructive: false
    property bool busy: false
    // What the button shows of `busy`, which disables it at once: only once the work has gone
    // on a moment.
    readonly property bool waiting: late.value

    Layout.fillWidth: true
    enabled: !busy
    flat: true
    leftPadding: 0
    rightPadding: waiting ? 32 : 0
    font.pixelSize: Style.body
    contentItem: Label {
        text: root.text
        textFormat: Text.PlainText
        font: root.font
        color: (root.busy ? root.waiting : !root.enabled) ? Style.secondary : root.destructive ? Style.red : Style.teal
        horizontalAlignment: Text.AlignLeft
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.Wrap
        Accessible.ignored: true
    }
    // Made only once busy shows: a list makes one button per entry, and a spinner each would
    // cost more than the rest of the button; made at once, it would draw a frame for every quick
    // request.
    Loader {
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        active: root.waiting
        sourceComponent: Working {
            shown: true
            after: 0
        }
    }
    LateFlag {
        id: late
        input: root.busy
    }
    FocusFrame {
        shown: root.visualFocus
    }
}
