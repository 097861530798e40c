import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Kelvra
import Kelvra.Controls
import Kelvra.Core

// Everything of the window but the welcome screen and the tab bar: the keys, the tabs' screens,
// the owner's password prompt and the alert. The window makes it after its first frame.
Item {
    id: view
    required property Workspace workspace

    // The keys only reach the workspace; it decides what each one does.
    Shortcut {
        sequence: "Ctrl+1"
        onActivated: view.workspace.showTab(Workspace.Home)
    }
    Shortcut {
        sequence: "Ctrl+2"
        onActivated: view.workspace.showTab(Workspace.MarketsTab)
    }
    Shortcut {
        sequence: "Ctrl+3"
        onActivated: view.workspace.showTab(Workspace.Trade)
    }
    Shortcut {
        sequence: "Ctrl+4"
        onActivated: view.workspace.showTab(Workspace.Account)
    }
    Shortcut {
        sequence: "Ctrl+F"
        onActivated: if (view.workspace.showTab(Workspace.MarketsTab)) ((screens.itemAt(Workspace.MarketsTab) as Loader).item as MarketScreen).focusSearch()
    }
    Shortcut {
        sequence: "F5"
        onActivated: view.workspace.refresh()
    }

    // The tabs' screens, from the workspace's list of tabs, at their tags' places.
    StackLayout {
        objectName: "tabs"
        anchors.fill: parent
        visible: view.workspace.entered
        currentIndex: view.workspace.selectedTab

        Repeater {
            id: screens
            model: view.workspace.tabs
            OnDemand {
                id: screen
                required property var modelData
                required property int index
                part: "qrc:/Kelvra/" + screen.modelData.screen
                // Read off the stack rather than its attached properties, which Qt 6.4 never frees.
                wanted: (screen.parent as StackLayout).visible && (screen.parent as StackLayout).currentIndex === screen.index
                initial: {
                    const given = screen.modelData.given
                    return { [given]: given === "workspace" ? view.workspace : view.workspace[given] }
                }
            }
        }
    }

    // The device-owner authentication asks here when it needs the user.
    Loader {
        id: asking
        readonly property OwnerPrompt prompt: view.workspace.gate.prompt
        function follow() {
            if (asking.prompt)
                asking.setSource("qrc:/Kelvra/OwnerPromptDialog.qml", { prompt: asking.prompt })
            else
                asking.setSource("")
        }
        onPromptChanged: follow()
        // A prompt may already be asking when this view is made.
        Component.onCompleted: follow()
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
        background: DialogSurface {}
        visible: view.workspace.message.length > 0
        closePolicy: Popup.CloseOnEscape
        // Return, Enter or Space on "OK" dismisses it, as Escape does.
        onOpened: alertOk.forceActiveFocus(Qt.PopupFocusReason)
        // However the alert goes away, the message is cleared.
        onClosed: view.workspace.message = ""

        // An alert to a screen reader, which announces it as it appears. A Text rather than a
        // Label: Qt 6.4's Label overrides the alert role.
        Text {
            objectName: "alertText"
            width: parent.width
            text: view.workspace.message
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
        onAccepted: view.workspace.message = ""
    }
}
