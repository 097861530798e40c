import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A label at the leading edge and its value at the trailing edge; a screen reader reads the two
// as one line.
RowLayout {
    id: root
    property string label
    property string value

    Layout.fillWidth: true
    spacing: 12

    Label {
        text: root.label
        font.pixelSize: Style.body
        Accessible.ignored: true
    }
    Item {
        Layout.fillWidth: true
    }
    Label {
        text: root.value
        font.pixelSize: Style.body
        color: Style.secondary
        horizontalAlignment: Text.AlignRight
        Accessible.name: root.label + ": " + root.value
    }
}
