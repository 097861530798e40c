import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Controls.Material.impl
import Kelvra.Core
import Kelvra.Controls

// A small spinner where a request is under way; a screen reader hears "Loading" there.
BusyIndicator {
    id: root
    // Whether there is work going on; the spinner turns once it has gone on a moment.
    property bool shown: false
    // How long the work goes on before the spinner turns, in milliseconds.
    property alias after: late.after

    objectName: "working"
    implicitWidth: 24
    implicitHeight: 24
    padding: 2
    running: late.value
    visible: late.value
    Material.accent: Style.teal
    Accessible.name: "Loading"

    // Material's own fades out for a quarter of a second after every request, drawing frames
    // long after a quick one has ended: this one simply goes.
    LateFlag {
        id: late
        input: root.shown
    }

    contentItem: BusyIndicatorImpl {
        implicitWidth: root.Material.touchTarget
        implicitHeight: root.Material.touchTarget
        color: root.Material.accentColor
        running: root.running
    }
}
