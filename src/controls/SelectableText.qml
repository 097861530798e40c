import QtQuick
import QtQuick.Layouts
import Kelvra.Controls

// Caption text the user can select and copy, such as a wallet address, with the pointer or,
// once Tab has reached it, with the keyboard.
TextEdit {
    textFormat: TextEdit.PlainText
    Layout.fillWidth: true
    readOnly: true
    selectByMouse: true
    selectByKeyboard: true
    activeFocusOnTab: text.length > 0
    persistentSelection: false
    font.pixelSize: Style.caption
    // A plain TextEdit draws in black whatever the scheme.
    color: Style.foreground
    selectionColor: Style.tealFill
    selectedTextColor: Style.textOnTeal
    wrapMode: Text.WrapAnywhere
    Accessible.role: Accessible.StaticText
    Accessible.name: text
    Accessible.ignored: text.length === 0

    FocusFrame {}
}
