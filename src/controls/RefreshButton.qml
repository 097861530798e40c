import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Core

// Reloads what its screen shows: `reload` is a function returning a task. While that task runs,
// or `busy` says the screen's data is being reloaded anyway, it cannot be pressed and spins.
PushButton {
    id: root
    property var reload
    property bool busy: false
    property bool refreshing: false
    readonly property bool working: busy || refreshing

    objectName: "refresh"
    Layout.alignment: Qt.AlignRight | Qt.AlignVCenter
    text: "Refresh"
    enabled: !working
    flat: true
    font.pixelSize: Style.body
    leftPadding: 8
    rightPadding: 8
    contentItem: Item {
        implicitWidth: label.implicitWidth
        implicitHeight: label.implicitHeight
        Label {
            id: label
            anchors.centerIn: parent
            opacity: root.working ? 0 : 1
            text: root.text
            textFormat: Text.PlainText
            font: root.font
            color: Style.teal
            Accessible.ignored: true
        }
        Working {
            anchors.centerIn: parent
            shown: root.working
        }
    }
    onClicked: {
        if (refreshing)
            return
        refreshing = true
        root.reload().then(function () { root.refreshing = false })
    }
    FocusFrame {
        shown: root.visualFocus
    }
}
