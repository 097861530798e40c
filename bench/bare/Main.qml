import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material

// The baseline: a bare Qt Quick Controls window with the app's style, accent and size, and one
// Label.
ApplicationWindow {
    width: 390
    height: 844
    visible: true
    Material.accent: "#007D75"

    Label {
        objectName: "label"
        text: "Kelvra"
    }
}
