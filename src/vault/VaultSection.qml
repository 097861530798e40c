import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Core
import Kelvra.Controls

// The shared test vault, which everyone sees, signed in or not.
Section {
    id: root
    required property VaultBalance vault

    objectName: "vaultSection"
    title: "Agent test vault"
    Label {
        objectName: "vaultBalance"
        text: root.vault.balance
        textFormat: Text.PlainText
        font.pixelSize: Style.largeTitle
        font.bold: true
    }
    ValueRow {
        objectName: "allowance"
        label: "Remaining allowance"
        value: root.vault.budget
    }
    Label {
        objectName: "vaultPermission"
        Layout.fillWidth: true
        text: root.vault.status
        textFormat: Text.PlainText
        font.pixelSize: Style.body
        wrapMode: Text.Wrap
    }
    Footnote {
        text: "Shared competition vault, not your wallet balance."
    }
    AccentButton {
        objectName: "refreshVault"
        text: "Refresh vault balance"
        busy: root.vault.loading
        onClicked: root.vault.loadTask()
    }
}
