import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Controls

// A note under a section's content: small, dimmed, plain text wrapped over the column's width.
Label {
    Layout.fillWidth: true
    textFormat: Text.PlainText
    font.pixelSize: Style.footnote
    color: Style.secondary
    wrapMode: Text.Wrap
}
