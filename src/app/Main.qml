import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Kelvra.Controls
import Kelvra.Core

// The one window: the welcome screen until the user enters, then four tabs; the alert over both.
ApplicationWindow {
    id: window
    required property Workspace workspace

    width: 390
    height: 844
    // The narrowest window in which every screen fits: the trade lab's rows of a label and a
    // number field hold it above 320.
    minimumWidth: 330
    minimumHeight: 480
    visible: true
    title: "Kelvra"
    Material.theme: Style.dark ? Material.Dark : Material.Light
    Material.accent: Style.teal
    Material.primary: Style.navy
    Material.foreground: Style.foreground

    Component.onCompleted: workspace.appeared()

    // The keys only reach the workspace; it decides what each one does.
    Instantiator {
        model: 4
        delegate: Shortcut {
            required property int index
            sequence: "Ctrl+" + (index + 1)
            onActivated: window.workspace.showTab(index)
        }
    }
    Shortcut {
        sequence: StandardKey.Find
        onActivated: if (window.workspace.showTab(Workspace.MarketsTab)) markets.item.focusSearch()
    }
    Shortcut {
        sequence: "F5"
        onActivated: window.workspace.refresh()
    }

    Welcome {
        anchors.fill: parent
        visible: !window.workspace.entered
        workspace: window.workspace
    }

    // A part of the window is built the first time it is wanted and then kept, so that the
    // welcome screen, which needs no tab and no tab bar, is on screen sooner; switching tabs
    // reloads nothing.
    component OnDemand: Loader {
        property bool wanted
        active: false
        onWantedChanged: if (wanted) active = true
        Component.onCompleted: if (wanted) active = true
    }
    component Tab: OnDemand {
        required property int tag
        wanted: window.workspace.entered && window.workspace.selectedTab === tag
    }

    StackLayout {
        id: tabs
        objectName: "tabs"
        anchors.fill: parent
        visible: window.workspace.entered
        currentIndex: window.workspace.selectedTab

        Tab {
            tag: Workspace.Home
            sourceComponent: Home {
                workspace: window.workspace
            }
        }
        Tab {
            id: markets
            tag: Workspace.MarketsTab
            sourceComponent: MarketScreen {
                market: window.workspace.market
            }
        }
        Tab {
            tag: Workspace.Trade
            sourceComponent: TradeLab {
                trade: window.workspace.trade
                market: window.workspace.market
            }
        }
        Tab {
            tag: Workspace.Account
            sourceComponent: Account {
                workspace: window.workspace
            }
        }
    }

    footer: OnDemand {
        wanted: window.workspace.entered
        sourceComponent: TabBar {
            objectName: "tabBar"
            visible: window.workspace.entered
            currentIndex: window.workspace.selectedTab
            onCurrentIndexChanged: window.workspace.selectedTab = currentIndex
            Material.background: Style.card

            Repeater {
                model: [
                    { title: "Home", icon: "house" },
                    { title: "Markets", icon: "chart" },
                    { title: "Trade", icon: "arrows" },
                    { title: "Account", icon: "person" }
                ]
                TabButton {
                    required property var modelData
                    required property int index
                    objectName: "tab" + modelData.title
                    text: modelData.title
                    icon.source: "qrc:/Kelvra/icons/" + modelData.icon + ".svg"
                    display: AbstractButton.TextUnderIcon
                    font.capitalization: Font.MixedCase
                    font.pixelSize: Style.caption
                    // A click emitted by a key or a screen reader checks nothing by itself.
                    onClicked: window.workspace.showTab(index)
                    Keys.onReturnPressed: clicked()
                    Keys.onEnterPressed: clicked()
                    Accessible.name: modelData.title
                    Accessible.onPressAction: clicked()
                }
            }
        }
    }

    // The device-owner authentication asks here when it needs the user.
    Loader {
        active: window.workspace.prompt !== null
        sourceComponent: OwnerPromptDialog {
            prompt: window.workspace.prompt
        }
    }

    Dialog {
        id: alert
        objectName: "alert"
        parent: Overlay.overlay
        anchors.centerIn: parent
        width: Math.min(parent.width - 48, 320)
        modal: true
        focus: true
        title: "Kelvra"
        visible: window.workspace.message.length > 0
        closePolicy: Popup.CloseOnEscape
        // Return, Enter or Space on "OK" dismisses it, as Escape does.
        onOpened: alertOk.forceActiveFocus(Qt.PopupFocusReason)
        // However the alert goes away, the message is cleared.
        onClosed: window.workspace.message = ""

        // An alert to a screen reader, which announces it as it appears. A Text rather than a
        // Label: Qt 6.4's Label overrides the alert role.
        Text {
            objectName: "alertText"
            width: parent.width
            text: window.workspace.message
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            color: Material.foreground
            font.pixelSize: Style.body
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
        }
        footer: DialogButtonBox {
            Accessible.ignored: true
            PushButton {
                id: alertOk
                objectName: "alertOk"
                text: "OK"
                flat: true
                DialogButtonBox.buttonRole: DialogButtonBox.AcceptRole
            }
        }
        onAccepted: window.workspace.message = ""
    }
}
