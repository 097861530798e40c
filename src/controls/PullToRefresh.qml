import QtQuick
import Kelvra.Controls

// Pull a Flickable down past its top to ask for a refresh (`pulled`); the indicator stays while
// the refresh the pull asked for (`refreshing`) runs. Reloads started elsewhere, such as the
// periodic session check, show on their own controls and leave it hidden.
Item {
    id: root
    required property Flickable flickable
    property bool refreshing: false
    property bool asked: false
    signal pulled()
    readonly property real pull: Math.max(0, -flickable.verticalOvershoot)

    anchors.horizontalCenter: parent ? parent.horizontalCenter : undefined
    y: flickable.y + Math.min(pull, 64) - 8
    width: 36
    height: 36
    z: 10
    visible: (asked && refreshing) || pull > 8
    onRefreshingChanged: if (!refreshing) asked = false
    // The status line below the list tells a screen reader when the refresh is done.
    Accessible.ignored: true

    Working {
        anchors.fill: parent
        shown: root.visible
    }
    Connections {
        target: root.flickable
        function onDragEnded() {
            if (root.pull <= 64)
                return
            root.asked = true
            if (!root.refreshing)
                root.pulled()
        }
    }
}
