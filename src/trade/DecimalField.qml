import QtQuick
import Kelvra.Controls
import QtQuick.Controls
import QtQuick.Layouts

// A labelled, right-aligned entry for a decimal number. The text goes to the trade lab as typed;
// reading it as a number is the calculator's business.
RowLayout {
    id: field
    property alias label: caption.text
    property alias placeholder: input.placeholderText
    property alias text: input.text
    property alias inputName: input.objectName
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
        font.pixelSize: Style.body
        onTextEdited: field.edited(text)
        Accessible.name: caption.text
    }
}
