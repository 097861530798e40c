import QtQuick
import QtQuick.Controls

// A button that Return and Enter press as Space does, and a screen reader's Press action too.
// Named here: Qt 6.4 names controls only once an accessibility bridge is up.
Button {
    font.capitalization: Font.MixedCase
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
    Accessible.name: text
    Accessible.onPressAction: clicked()
}
