import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Controls
import Kelvra.Core

// The owner session on the Account tab: its status, a waiting sign-in's match code and QR code,
// and the controls that sign in, check and sign out.
Section {
    id: root
    required property Workspace workspace
    required property OwnerSession session
    // The page's column width: wide enough, the QR code's note goes beside it.
    required property real column

    objectName: "sessionSection"
    title: "Session"
    Label {
        objectName: "sessionStatus"
        Layout.fillWidth: true
        text: root.session.status
        textFormat: Text.PlainText
        font.pixelSize: Style.body
        wrapMode: Text.Wrap
    }
    Label {
        objectName: "matchCode"
        visible: root.session.code.length > 0
        text: "Match code: " + root.session.code
        textFormat: Text.PlainText
        font.pixelSize: Style.title2
        font.family: Style.monospace
    }
    // The same portal page for the phone's camera, while the sign-in waits: the
    // owner's passkey is often on the phone, not on this desktop.
    GridLayout {
        visible: root.session.approvalUrl.length > 0
        Layout.fillWidth: true
        columns: root.column >= 480 ? 2 : 1
        columnSpacing: 16
        rowSpacing: 6
        QrCode {
            objectName: "approvalQr"
            text: root.session.approvalUrl
            Layout.preferredWidth: 184
            Layout.preferredHeight: 184
            Accessible.role: Accessible.Graphic
            Accessible.name: "QR code of the approval address"
        }
        Footnote {
            text: "Scan this code with the phone that holds your passkey."
        }
    }
    AccentButton {
        objectName: "signIn"
        busy: root.session.starting
        text: "Sign in & connect app"
        onClicked: root.workspace.unlock()
    }
    AccentButton {
        objectName: "checkConnection"
        busy: root.session.checking
        text: "Check connection / refresh account"
        onClicked: root.session.checkTask()
    }
    AccentButton {
        objectName: "signOut"
        busy: root.session.signingOut
        visible: root.session.connected
        text: "Sign out"
        destructive: true
        onClicked: root.session.logoutTask()
    }
    Footnote {
        text: "Read-only account and history access. Payments require the passkey portal. Session ends with browser logout or expiry; restarting the app clears access."
    }
}
