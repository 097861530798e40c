import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Controls

// A label at the leading edge and its value at the trailing edge; a value too long for a narrow
// window wraps rather than leaving the card. A screen reader reads the two as one line.
RowLayout {
    id: root
    property string label
    property string value

    Layout.fillWidth: true
    spacing: 12

    Label {
        Layout.alignment: Qt.AlignTop
        text: root.label
        textFormat: Text.PlainText
        font.pixelSize: Style.body
        Accessible.ignored: true
    }
    Label {
        Layout.fillWidth: true
        Layout.alignment: Qt.AlignTop
        text: root.value
        textFormat: Text.PlainText
        font.pixelSize: Style.body
        color: Style.secondary
        horizontalAlignment: Text.AlignRight
        wrapMode: Text.Wrap
        Accessible.name: root.label + ": " + root.value
    }
}
