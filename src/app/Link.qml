import QtQuick
import QtQuick.Controls
import Kelvra
import Kelvra.Core

// Accent-coloured text that opens a web page when activated.
Label {
    id: root
    signal activated

    color: enabled ? Brand.teal : Style.secondary
    font.pixelSize: Style.body
    font.underline: hover.hovered
    Accessible.role: Accessible.Link
    Accessible.name: text
    Accessible.onPressAction: root.activated()

    HoverHandler {
        id: hover
        cursorShape: Qt.PointingHandCursor
    }
    TapHandler {
        onTapped: root.activated()
    }
}
