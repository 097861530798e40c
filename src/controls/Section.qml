import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Controls

// A group of rows on a white card, with an optional heading above it.
ColumnLayout {
    id: root
    property string title
    default property alias rows: body.data

    Layout.fillWidth: true
    spacing: 6

    Heading {
        visible: root.title.length > 0
        Layout.fillWidth: true
        text: root.title
        font.pixelSize: Style.caption
        font.weight: Font.Normal
        font.capitalization: Font.AllUppercase
        color: Style.secondary
        leftPadding: 16
    }
    Rectangle {
        Layout.fillWidth: true
        implicitHeight: body.implicitHeight + 20
        radius: 12
        color: Style.card

        ColumnLayout {
            id: body
            anchors.fill: parent
            anchors.margins: 10
            anchors.leftMargin: 16
            anchors.rightMargin: 16
            spacing: 10
        }
    }
}
