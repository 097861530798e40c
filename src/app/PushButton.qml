import QtQuick
import QtQuick.Controls

// A button that Return and Enter press as Space does, and a screen reader's Press action too.
Button {
    font.capitalization: Font.MixedCase
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
    Accessible.onPressAction: clicked()
}
