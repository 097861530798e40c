import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Kelvra
import Kelvra.Core

// The Account tab: the owner session, the wallet and payment history while connected, the
// shared test vault and the project links.
Page {
    id: root
    required property Workspace workspace
    readonly property OwnerSession session: workspace.session

    title: "Account"
    background: Rectangle {
        color: Style.groupedBackground
    }

    AccountRecord {
        id: record
        session: root.session
    }
    HistoryList {
        id: history
        session: root.session
    }

    FollowFocus {
        flickable: scroll
    }
    Flickable {
        id: scroll
        objectName: "accountScroll"
        anchors.fill: parent
        contentHeight: content.implicitHeight + 32
        ScrollIndicator.vertical: ScrollIndicator {
            Accessible.ignored: true
        }

        ColumnLayout {
            id: content
            width: Math.min(scroll.width - 32, Style.columnWidth)
            x: (scroll.width - width) / 2
            y: 16
            spacing: 22

            Heading {
                text: "Account"
                font.pixelSize: Style.largeTitle
            }

            Section {
                objectName: "sessionSection"
                title: "Session"
                Label {
                    objectName: "sessionStatus"
                    Layout.fillWidth: true
                    text: root.session.status
                    font.pixelSize: Style.body
                    wrapMode: Text.Wrap
                }
                Label {
                    objectName: "matchCode"
                    visible: root.session.code.length > 0
                    text: "Match code: " + root.session.code
                    font.pixelSize: Style.title2
                    font.family: Style.monospace
                }
                AccentButton {
                    objectName: "signIn"
                    text: "Sign in & connect app"
                    onClicked: root.workspace.unlock()
                }
                AccentButton {
                    objectName: "checkConnection"
                    text: "Check connection / refresh account"
                    onClicked: root.session.checkTask()
                }
                AccentButton {
                    objectName: "signOut"
                    visible: root.session.connected
                    text: "Sign out"
                    destructive: true
                    onClicked: root.session.logoutTask()
                }
                Label {
                    Layout.fillWidth: true
                    text: "Read-only account and history access. Payments require the passkey portal. Session ends with browser logout or expiry; restarting the app clears access."
                    font.pixelSize: Style.footnote
                    color: Style.secondary
                    wrapMode: Text.Wrap
                }
            }

            Section {
                objectName: "walletSection"
                visible: root.session.connected
                title: "Your owner wallet"
                SelectableText {
                    objectName: "ownerAddress"
                    text: record.address
                }
                ValueRow {
                    objectName: "testEth"
                    label: "Test ETH"
                    value: record.nativeBalance
                }
                ValueRow {
                    objectName: "walletKusd"
                    label: "Wallet kUSD"
                    value: record.tokenBalance
                }
                Label {
                    Layout.fillWidth: true
                    text: "Personal owner-wallet balance, separate from the agent vault. Test assets only."
                    font.pixelSize: Style.footnote
                    color: Style.secondary
                    wrapMode: Text.Wrap
                }
            }

            Section {
                objectName: "historySection"
                visible: root.session.connected
                title: "Payment history"
                Repeater {
                    objectName: "historyEntries"
                    model: history
                    HistoryEntry {
                        Layout.fillWidth: true
                        onExplore: url => root.workspace.openURL(url)
                        onVerify: id => root.session.verifyTask(id)
                    }
                }
                Label {
                    objectName: "proof"
                    Layout.fillWidth: true
                    visible: root.session.proof.length > 0
                    text: root.session.proof
                    font.pixelSize: Style.body
                    wrapMode: Text.Wrap
                }
            }

            Section {
                objectName: "vaultSection"
                title: "Agent test vault"
                Label {
                    objectName: "vaultBalance"
                    text: root.workspace.balance.balance
                    font.pixelSize: Style.largeTitle
                    font.bold: true
                }
                ValueRow {
                    objectName: "allowance"
                    label: "Remaining allowance"
                    value: root.workspace.balance.budget
                }
                Label {
                    objectName: "vaultPermission"
                    Layout.fillWidth: true
                    text: root.workspace.balance.status
                    font.pixelSize: Style.body
                    wrapMode: Text.Wrap
                }
                Label {
                    Layout.fillWidth: true
                    text: "Shared competition vault, not your wallet balance."
                    font.pixelSize: Style.footnote
                    color: Style.secondary
                    wrapMode: Text.Wrap
                }
                AccentButton {
                    objectName: "refreshVault"
                    text: "Refresh vault balance"
                    onClicked: root.workspace.balance.loadTask()
                }
            }

            Section {
                objectName: "projectSection"
                title: "Project"
                AccentButton {
                    objectName: "openPayments"
                    text: "Open AI payments"
                    onClicked: root.workspace.openSite("/#agent")
                }
                Link {
                    objectName: "demoLink"
                    text: "Try guided demo"
                    onActivated: root.workspace.openSite("/demo.html")
                }
                Link {
                    objectName: "competitionMaterials"
                    text: "Competition materials"
                    onActivated: root.workspace.openSite("/competition.html")
                }
                Label {
                    Layout.fillWidth: true
                    text: "Kelvra · test assets only"
                    font.pixelSize: Style.caption
                    color: Style.secondary
                }
            }
        }
    }
}
