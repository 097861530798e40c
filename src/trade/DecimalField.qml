import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Kelvra.Controls
import Kelvra.Core

// A labelled, right-aligned entry for a decimal number. It takes only what the number reader
// reads (or a beginning of it); the text goes to the trade lab as typed, and whether the number
// is in range is the calculator's business. `invalid` outlines the field in red.
RowLayout {
    id: field
    property alias label: caption.text
    property alias placeholder: input.placeholderText
    property alias text: input.text
    property alias inputName: input.objectName
    property bool invalid
    signal edited(string text)

    Layout.fillWidth: true
    spacing: 12
    Label {
        id: caption
        textFormat: Text.PlainText
        font.pixelSize: Style.body
        Accessible.ignored: true
    }
    Item {
        Layout.fillWidth: true
    }
    TextField {
        id: input
        Layout.preferredWidth: 140
        horizontalAlignment: TextInput.AlignRight
        inputMethodHints: Qt.ImhFormattedNumbersOnly
        validator: NumberValidator {}
        Material.accent: field.invalid ? Style.red : Style.teal
        Material.foreground: field.invalid ? Style.red : Style.foreground
        font.pixelSize: Style.body
        onTextEdited: field.edited(text)
        Accessible.name: caption.text
    }
}
