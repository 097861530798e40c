import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Kelvra.Controls
import Kelvra.Core

// The Account tab: the owner session, the wallet and payment history while connected, the
// shared test vault and the project links. Pull down, press F5 or "Refresh" to check the session
// and reload the vault.
Page {
    id: root
    title: "Account"
    required property Workspace workspace
    readonly property OwnerSession session: workspace.session

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
    ReadingOrder {
        view: scroll
    }
    PullToRefresh {
        flickable: scroll
        action: function () { return root.workspace.reloadTask(Workspace.Account) }
    }
    // One list as long as the history: only the entries in view are made, so that the longest
    // history the service may send is on screen as soon as a short one. The sections before the
    // entries are its header, the ones after them its footer.
    ListView {
        id: scroll
        objectName: "accountScroll"
        anchors.fill: parent
        topMargin: 16
        bottomMargin: 16
        boundsBehavior: Flickable.DragOverBounds
        ScrollIndicator.vertical: ScrollIndicator {
            Accessible.ignored: true
        }
        // The page's one column: the window's width less its margins, at most a readable width.
        readonly property real column: Math.min(width - 32, Style.columnWidth)
        model: root.session.connected ? history : null

        // How far the view is scrolled from the top of the page.
        property real fromTop: 0
        onContentYChanged: fromTop = contentY - originY + topMargin

        header: ColumnLayout {
            // A list keeps its first entry in place when the header grows or shrinks (the
            // session connects, a status line wraps); this page keeps its top instead, as a page
            // does.
            onHeightChanged: scroll.contentY = scroll.originY - scroll.topMargin + scroll.fromTop

            x: (scroll.width - width) / 2
            width: scroll.column
            spacing: 22

            RowLayout {
                Layout.fillWidth: true
                Heading {
                    Layout.fillWidth: true
                    text: "Account"
                    font.pixelSize: Style.largeTitle
                }
                RefreshButton {
                    busy: root.workspace.reloading
                    reload: function () { return root.workspace.reloadTask(Workspace.Account) }
                }
            }

            Section {
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
                    columns: scroll.column >= 480 ? 2 : 1
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
                    Label {
                        Layout.fillWidth: true
                        text: "Scan this code with the phone that holds your passkey."
                        textFormat: Text.PlainText
                        font.pixelSize: Style.footnote
                        color: Style.secondary
                        wrapMode: Text.Wrap
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
                Label {
                    Layout.fillWidth: true
                    text: "Read-only account and history access. Payments require the passkey portal. Session ends with browser logout or expiry; restarting the app clears access."
                    textFormat: Text.PlainText
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
                    textFormat: Text.PlainText
                    font.pixelSize: Style.footnote
                    color: Style.secondary
                    wrapMode: Text.Wrap
                }
            }
            // The history's card opens here, its entries continue it and the footer closes it.
            ColumnLayout {
                objectName: "historySection"
                visible: root.session.connected
                Layout.fillWidth: true
                spacing: 6

                Heading {
                    Layout.fillWidth: true
                    text: "Payment history"
                    font.pixelSize: Style.caption
                    font.weight: Font.Normal
                    font.capitalization: Font.AllUppercase
                    color: Style.secondary
                    leftPadding: 16
                }
                CardEdge {
                    Layout.fillWidth: true
                    implicitHeight: none.visible ? none.implicitHeight + 20 : 12

                    Label {
                        id: none
                        objectName: "noPayments"
                        x: 16
                        y: 10
                        width: parent.width - 32
                        visible: history.count === 0
                        text: "No payments yet."
                        textFormat: Text.PlainText
                        font.pixelSize: Style.body
                        color: Style.secondary
                        wrapMode: Text.Wrap
                    }
                }
            }
            // Without the history the footer's sections keep their distance from the header's.
            Item {
                visible: !root.session.connected
            }
        }

        delegate: HistoryEntry {
            x: (scroll.width - width) / 2
            width: scroll.column
            below: index < scroll.count - 1 ? 10 : 0
            onExplore: url => root.workspace.openURL(url)
            verifying: root.session.verifying
            onVerify: id => root.session.verifyTask(id)
        }

        footer: ColumnLayout {
            x: (scroll.width - width) / 2
            width: scroll.column
            spacing: 22

            CardEdge {
                visible: root.session.connected
                Layout.fillWidth: true
                implicitHeight: proof.visible ? proof.implicitHeight + 20 : 12
                closing: true

                Label {
                    id: proof
                    objectName: "proof"
                    x: 16
                    y: 10
                    width: parent.width - 32
                    visible: root.session.proof.length > 0
                    text: root.session.proof
                    textFormat: Text.PlainText
                    font.pixelSize: Style.body
                    wrapMode: Text.Wrap
                }
            }

            VaultSection {
                vault: root.workspace.balance
            }
            ProjectLinks {
                workspace: root.workspace
            }
        }
    }
}
