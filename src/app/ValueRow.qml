import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A label at the leading edge and its value at the trailing edge.
RowLayout {
    id: root
    property string label
    property string value

    Layout.fillWidth: true
    spacing: 12

    Label {
        text: root.label
        font.pixelSize: Style.body
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
