import QtQuick
import Kelvra.Controls

// The top or the bottom of a white card, its corners rounded: a card that a list's entries
// continue between its two edges.
Item {
    property bool closing: false
    clip: true
    Rectangle {
        width: parent.width
        height: parent.height + radius
        y: parent.closing ? -radius : 0
        radius: 12
        color: Style.card
    }
}
