import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import Kelvra.Controls
import Kelvra.Core

// The tab bar: one button per tab of the workspace's list, in its order. A button only asks the
// workspace for its tab.
TabBar {
    id: strip
    required property Workspace workspace

    objectName: "tabBar"
    visible: workspace.entered
    currentIndex: workspace.selectedTab
    Material.background: Style.card

    Repeater {
        model: strip.workspace.tabs
        TabButton {
            id: button
            required property var modelData
            required property int index
            objectName: "tab" + modelData.title
            text: modelData.title
            icon.source: "qrc:/Kelvra/icons/" + modelData.icon + ".svg"
            // Not kept in Qt Quick's image cache once a colour change lets it go: the cache would
            // wake the program every 30 seconds until it dropped the image.
            icon.cache: false
            display: AbstractButton.TextUnderIcon
            font.capitalization: Font.MixedCase
            font.pixelSize: Style.caption
            // A click emitted by a key or a screen reader checks nothing by itself.
            onClicked: (TabBar.tabBar as TabStrip).workspace.showTab(button.index)
            Keys.onReturnPressed: clicked()
            Keys.onEnterPressed: clicked()
            Accessible.name: modelData.title
            Accessible.onPressAction: clicked()
        }
    }
}
