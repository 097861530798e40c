import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Controls

// Asks its screen to reload what it shows (`clicked`). While `busy` says that data is being
// reloaded, by this button or anyone else, it cannot be pressed and spins.
PushButton {
    id: root
    property bool busy: false
    // What the button shows of `busy`, which disables it at once: only once the work has gone
    // on a moment.
    readonly property bool waiting: late.value

    objectName: "refresh"
    Layout.alignment: Qt.AlignRight | Qt.AlignVCenter
    text: "Refresh"
    enabled: !busy
    flat: true
    font.pixelSize: Style.body
    leftPadding: 8
    rightPadding: 8
    contentItem: Label {
        text: root.text
        textFormat: Text.PlainText
        font: root.font
        // Transparent rather than hidden while busy: the button keeps its width.
        color: root.waiting ? "transparent" : Style.teal
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }
    Loader {
        anchors.centerIn: parent
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
