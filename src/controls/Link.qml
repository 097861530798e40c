import QtQuick
import Kelvra.Core
import Kelvra.Controls

// Accent-coloured text that opens a web page when activated, by pointer, keyboard or screen
// reader. A Text rather than a Label: Qt 6.4's Label overrides the link role.
Text {
    id: root
    textFormat: Text.PlainText
    signal activated

    color: enabled ? Style.teal : Style.secondary
    font.pixelSize: Style.body
    font.underline: hover.hovered || activeFocus
    activeFocusOnTab: enabled
    Keys.onSpacePressed: root.activated()
    Keys.onReturnPressed: root.activated()
    Keys.onEnterPressed: root.activated()
    Accessible.role: Accessible.Link
    Accessible.name: text
    Accessible.focusable: true
    Accessible.focused: activeFocus
    Accessible.onPressAction: root.activated()

    HoverHandler {
        id: hover
        cursorShape: Qt.PointingHandCursor
    }
    TapHandler {
        onTapped: root.activated()
    }
    FocusFrame {}
}
