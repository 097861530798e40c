import QtQuick
import QtQuick.Controls.Material

// A dialog's surface, without Material's shadow: that is an effect layer, which Qt Quick's own
// renderer cannot draw (the surface would be missing altogether) and which OpenGL draws through
// an offscreen texture of its own.
Rectangle {
    radius: 2
    color: Material.dialogColor
}
