import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Controls
import Kelvra.Core

// One quote as a rounded card: name and symbol on the left, price and 24-hour change on the right.
// A screen reader reads the card as one item.
Rectangle {
    id: root
    required property string name
    required property string symbol
    required property string price
    required property string change
    required property bool rising

    implicitHeight: row.implicitHeight + 36
    radius: 16
    color: Style.card
    Accessible.role: Accessible.ListItem
    Accessible.name: name + ", " + symbol + ", " + price + ", " + change

    RowLayout {
        id: row
        anchors.fill: parent
        anchors.margins: 18
        spacing: 8

        ColumnLayout {
            spacing: 5
            Label {
                text: root.name
                textFormat: Text.PlainText
                font.pixelSize: Style.headline
                font.weight: Font.DemiBold
                Accessible.ignored: true
            }
            Label {
                text: root.symbol
                textFormat: Text.PlainText
                font.pixelSize: Style.caption
                color: Style.secondary
                Accessible.ignored: true
            }
        }
        Item {
            Layout.fillWidth: true
        }
        ColumnLayout {
            spacing: 5
            Label {
                Layout.alignment: Qt.AlignRight
                text: root.price
                textFormat: Text.PlainText
                font.pixelSize: Style.headline
                font.weight: Font.DemiBold
                Accessible.ignored: true
            }
            Label {
                Layout.alignment: Qt.AlignRight
                text: root.change
                textFormat: Text.PlainText
                font.pixelSize: Style.caption
                color: root.rising ? Style.teal : Style.red
                Accessible.ignored: true
            }
        }
    }
}
