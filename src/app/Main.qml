import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Kelvra
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
    Shortcut {
        sequence: "Ctrl+1"
        onActivated: window.workspace.showTab(Workspace.Home)
    }
    Shortcut {
        sequence: "Ctrl+2"
        onActivated: window.workspace.showTab(Workspace.MarketsTab)
    }
    Shortcut {
        sequence: "Ctrl+3"
        onActivated: window.workspace.showTab(Workspace.Trade)
    }
    Shortcut {
        sequence: "Ctrl+4"
        onActivated: window.workspace.showTab(Workspace.Account)
    }
    Shortcut {
        sequence: "Ctrl+F"
        onActivated: if (window.workspace.showTab(Workspace.MarketsTab)) ((screens.itemAt(Workspace.MarketsTab) as Loader).item as MarketScreen).focusSearch()
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

    // A part of the window is made, from `part` with the properties `initial`, the first time it
    // is wanted and then kept, so that the welcome screen, which needs no tab and no tab bar, is
    // on screen sooner; switching tabs reloads nothing.
    component OnDemand: Loader {
        id: loader
        property bool wanted
        required property url part
        property var initial: ({})
        function make() {
            if (loader.wanted && loader.status === Loader.Null)
                loader.setSource(loader.part, loader.initial)
        }
        onWantedChanged: make()
        Component.onCompleted: make()
    }

    // The tabs' screens, from the workspace's list of tabs, at their tags' places.
    StackLayout {
        objectName: "tabs"
        anchors.fill: parent
        visible: window.workspace.entered
        currentIndex: window.workspace.selectedTab

        Repeater {
            id: screens
            model: window.workspace.tabs
            OnDemand {
                id: screen
                required property var modelData
                required property int index
                part: "qrc:/Kelvra/" + screen.modelData.screen
                // Read off the stack rather than its attached properties, which Qt 6.4 never frees.
                wanted: (screen.parent as StackLayout).visible && (screen.parent as StackLayout).currentIndex === screen.index
                initial: {
                    const given = screen.modelData.given
                    return { [given]: given === "workspace" ? window.workspace : window.workspace[given] }
                }
            }
        }
    }

    // The tab bar, over the workspace's list of tabs.
    footer: OnDemand {
        wanted: window.workspace.entered
        part: "qrc:/Kelvra/TabStrip.qml"
        initial: ({ workspace: window.workspace })
    }

    // The device-owner authentication asks here when it needs the user.
    Loader {
        readonly property OwnerPrompt prompt: window.workspace.gate.prompt
        onPromptChanged: prompt ? setSource("qrc:/Kelvra/OwnerPromptDialog.qml", { prompt: prompt }) : setSource("")
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
                DialogButtonBox.buttonRole: Dialog.AcceptRole
            }
        }
        onAccepted: window.workspace.message = ""
    }
}
