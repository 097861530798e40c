import QtQuick
import QtQuick.Controls.Material

// The title of a screen or a section; a heading to a screen reader. A Text rather than a Label:
// Qt 6.4's Label overrides any role given to it.
Text {
    textFormat: Text.PlainText
    color: Material.foreground
    font.weight: Font.Bold
    wrapMode: Text.Wrap
    Accessible.role: Accessible.Heading
    Accessible.name: text
}
