import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Controls
import Kelvra.Core

// Lays out what an owner authentication asks. The OwnerPrompt decides everything; the typed
// text goes to it once and the field is emptied at once. Nothing here keeps or shows it.
Dialog {
    id: dialog

    required property OwnerPrompt prompt
    readonly property bool asking: prompt !== null && prompt.open && !prompt.busy

    function submit() {
        if (!asking)
            return
        prompt.answer(field.text)
        field.clear()
    }

    parent: Overlay.overlay
    anchors.centerIn: parent
    width: Math.min(parent ? parent.width - 48 : 360, 360)
    modal: true
    closePolicy: Popup.NoAutoClose
    background: DialogSurface {}
    visible: prompt !== null && prompt.open
    // A screen reader names the dialog by its title and reads whose password it asks for.
    title: prompt ? prompt.reason : ""
    onOpened: field.forceActiveFocus()
    onVisibleChanged: if (!visible) field.clear()
    // Set on the item a screen reader sees; Qt 6.4 names a popup by its title only once an
    // accessibility bridge is up.
    // A screen reader reads the popup's items in stacking order: the buttons after the content.
    Component.onCompleted: {
        const item = contentItem.parent
        item.Accessible.name = Qt.binding(function () { return dialog.title })
        item.Accessible.description = Qt.binding(function () {
            return dialog.prompt ? dialog.prompt.whose : ""
        })
    }

    header: Label {
        objectName: "reason"
        text: dialog.title
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        font.pixelSize: 20
        font.weight: Font.Medium
        padding: 24
        bottomPadding: 0
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 12

        Label {
            objectName: "whose"
            Layout.fillWidth: true
            text: dialog.prompt ? dialog.prompt.whose : ""
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
        }

        // The field is named by the question; read once, there. Qt 6.4 gives a screen reader
        // neither the name nor the description of a hidden field, so the question, read just
        // before it, then carries the field's name.
        Label {
            objectName: "message"
            Layout.fillWidth: true
            text: dialog.prompt ? dialog.prompt.message : ""
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            Accessible.ignored: !field.hidden
            Accessible.name: dialog.prompt ? dialog.prompt.fieldName : ""
        }

        TextField {
            id: field

            readonly property bool hidden: !dialog.prompt || dialog.prompt.secret

            objectName: "answer"
            Layout.fillWidth: true
            enabled: dialog.asking
            echoMode: hidden ? TextInput.Password : TextInput.Normal
            inputMethodHints: Qt.ImhSensitiveData | Qt.ImhNoPredictiveText | Qt.ImhNoAutoUppercase
                              | (hidden ? Qt.ImhHiddenText : 0)
            Accessible.name: dialog.prompt ? dialog.prompt.fieldName : ""
            onAccepted: dialog.submit()
            onEnabledChanged: if (enabled && dialog.opened) forceActiveFocus()
            // Undo and redo replay what was typed and deleted; a secret keeps no history.
            Keys.onPressed: event => {
                if (event.matches(StandardKey.Undo) || event.matches(StandardKey.Redo))
                    event.accepted = true
            }
            Keys.onEscapePressed: if (dialog.prompt) dialog.prompt.cancel()
        }

        // Every row keeps its place while the dialog is open, so that it does not change size
        // as the stack works, answers or ends; only the stack's hints add lines.
        Label {
            objectName: "info"
            Layout.fillWidth: true
            text: dialog.prompt ? dialog.prompt.infoText : ""
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            font.italic: true
            visible: text.length > 0
        }

        BusyIndicator {
            objectName: "busy"
            Layout.alignment: Qt.AlignHCenter
            running: dialog.prompt !== null && dialog.prompt.busy
            // Its place is kept while it is not needed.
            opacity: running ? 1 : 0
            Accessible.ignored: !running
            Accessible.name: "Checking"
        }

        // In the column, not the dialog's footer: a screen reader reads a popup's footer before
        // its content. The buttons do not close the dialog themselves, the prompt's end does.
        RowLayout {
            Layout.alignment: Qt.AlignRight
            spacing: 8

            Button {
                objectName: "cancel"
                text: "Cancel"
                flat: true
                onClicked: if (dialog.prompt) dialog.prompt.cancel()
                Keys.onReturnPressed: clicked()
                Keys.onEnterPressed: clicked()
                Accessible.onPressAction: clicked()
            }
            Button {
                objectName: "ok"
                text: "OK"
                flat: true
                enabled: dialog.asking
                onClicked: dialog.submit()
                Keys.onReturnPressed: clicked()
                Keys.onEnterPressed: clicked()
                Accessible.onPressAction: clicked()
            }
        }
    }
}
