import QtQuick
import Kelvra.Controls

// The top or the bottom of a white card, its corners rounded: a card that a list's entries
// continue between its two edges.
//
// Drawn without a clip, which would be a kind of drawing of its own and cost the frame that first
// shows it: a square band and two round corners. On an edge lower than its corners, they reach
// into the card's margin beside the entries, which is the card's colour too.
Item {
    id: root
    property bool closing: false
    readonly property real radius: 12
    readonly property real cornerY: root.closing ? root.height - 2 * root.radius : 0

    Rectangle {
        x: root.radius
        width: root.width - 2 * root.radius
        height: root.height
        color: Style.card
    }
    Rectangle {
        y: root.closing ? 0 : root.radius
        width: root.width
        height: Math.max(0, root.height - root.radius)
        color: Style.card
    }
    Rectangle {
        y: root.cornerY
        width: 2 * root.radius
        height: width
        radius: root.radius
        color: Style.card
    }
    Rectangle {
        x: root.width - width
        y: root.cornerY
        width: 2 * root.radius
        height: width
        radius: root.radius
        color: Style.card
    }
}
