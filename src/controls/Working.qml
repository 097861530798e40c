import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import Kelvra.Core
import Kelvra.Controls

// A small spinner where a request is under way; a screen reader hears "Loading" there.
BusyIndicator {
    property bool shown: false

    objectName: "working"
    implicitWidth: 24
    implicitHeight: 24
    padding: 2
    running: shown
    visible: shown
    Material.accent: Style.teal
    Accessible.name: "Loading"
}
