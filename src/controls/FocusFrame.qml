import QtQuick
import Kelvra.Core
import Kelvra.Controls

// The keyboard focus ring around its parent.
Rectangle {
    property bool shown: parent.activeFocus

    anchors.fill: parent
    anchors.margins: -3
    radius: 6
    color: "transparent"
    border.width: 2
    border.color: Style.teal
    visible: shown
    Accessible.ignored: true
}
