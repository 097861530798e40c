import QtQuick
import QtQuick.Controls
import Kelvra.Controls
import Kelvra.Core

// One payment of the history, on a band of its card.
Rectangle {
    id: root
    required property int index
    required property string headline
    required property string recipient
    required property string date
    required property bool hasHash
    required property url explorer
    required property string paymentId
    required property bool hasReason
    required property string reason
    signal explore(url url)
    signal verify(string id)
    // A receipt is being verified; its button waits.
    property bool verifying: false
    // White space below the entry, before the next one.
    property real below: 10

    color: Style.card
    implicitHeight: column.implicitHeight + below

    // A plain column, not a layout: an entry is made while the history arrives, and a column
    // costs a fraction of a layout to build.
    Column {
        id: column
        x: 16
        width: root.width - 32
        spacing: 8

        Rectangle {
            visible: root.index > 0
            width: parent.width
            height: 1
            color: Style.separator
        }
        Heading {
            objectName: "headline"
            width: parent.width
            text: root.headline
            font.pixelSize: Style.headline
            font.weight: Font.DemiBold
        }
        SelectableText {
            objectName: "recipient"
            width: parent.width
            text: root.recipient
        }
        Label {
            objectName: "date"
            text: root.date
            textFormat: Text.PlainText
            font.pixelSize: Style.caption
            color: Style.secondary
        }
        Link {
            objectName: "explorerLink"
            visible: root.hasHash
            enabled: String(root.explorer).length > 0
            text: "View on explorer"
            onActivated: root.explore(root.explorer)
        }
        AccentButton {
            objectName: "verify"
            width: parent.width
            visible: root.hasHash
            text: "Verify original intent"
            busy: root.verifying
            onClicked: root.verify(root.paymentId)
        }
        Footnote {
            objectName: "reason"
            width: parent.width
            visible: root.hasReason
            text: root.reason
        }
    }
}
