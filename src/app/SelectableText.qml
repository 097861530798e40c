import QtQuick
import QtQuick.Layouts

// Caption text the user can select and copy, such as a wallet address.
TextEdit {
    Layout.fillWidth: true
    readOnly: true
    selectByMouse: true
    persistentSelection: false
    font.pixelSize: Style.caption
    wrapMode: Text.WrapAnywhere
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
