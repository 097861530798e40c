import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Controls

// A label at the leading edge and its value at the trailing edge. In a narrow window the label
// gives up room first, down to half the row, so that a value such as "1.50 kUSD" stays whole; a
// value that still does not fit wraps rather than leaving the card. A screen reader reads the
// two as one line.
RowLayout {
    id: root
    property string label
    property string value

    Layout.fillWidth: true
    spacing: 12

    Label {
        Layout.fillWidth: true
        Layout.alignment: Qt.AlignTop
        text: root.label
        textFormat: Text.PlainText
        font.pixelSize: Style.body
        wrapMode: Text.Wrap
        Accessible.ignored: true
    }
    Label {
        Layout.fillWidth: true
        Layout.minimumWidth: Math.min(implicitWidth, root.width / 2)
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
