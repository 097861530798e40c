import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Kelvra
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
        id: accountRecord
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
        refreshing: root.workspace.reloading
        onPulled: root.workspace.reloadTask(Workspace.Account)
    }
    // One list as long as the history: only the entries in view are made, so that the longest
    // history the service may send is on screen as soon as a short one. The sections before the
    // entries are its header, the ones after them its footer.
    AccountListView {
        id: scroll
        objectName: "accountScroll"
        workspace: root.workspace
        record: accountRecord
        anchors.fill: parent
        topMargin: 16
        bottomMargin: 16
        boundsBehavior: Flickable.DragOverBounds
        ScrollIndicator.vertical: ScrollIndicator {
            Accessible.ignored: true
        }
        model: history

        header: ColumnLayout {
            id: head
            readonly property AccountListView list: ListView.view as AccountListView
            // A list keeps its first entry in place when the header grows or shrinks (the
            // session connects, a status line wraps); this page keeps its top instead, as a page
            // does.
            onHeightChanged: head.list.contentY = head.list.originY - head.list.topMargin + head.list.fromTop

            x: (head.list.width - width) / 2
            width: head.list.column
            spacing: 22

            RowLayout {
                Layout.fillWidth: true
                Heading {
                    Layout.fillWidth: true
                    text: "Account"
                    font.pixelSize: Style.largeTitle
                }
                RefreshButton {
                    busy: head.list.workspace.reloading
                    onClicked: head.list.workspace.reloadTask(Workspace.Account)
                }
            }

            SessionSection {
                workspace: head.list.workspace
                session: head.list.session
                column: head.list.column
            }
            Section {
                objectName: "walletSection"
                visible: head.list.session.connected
                title: "Your owner wallet"
                SelectableText {
                    objectName: "ownerAddress"
                    text: head.list.record.address
                }
                ValueRow {
                    objectName: "testEth"
                    label: "Test ETH"
                    value: head.list.record.nativeBalance
                }
                ValueRow {
                    objectName: "walletKusd"
                    label: "Wallet kUSD"
                    value: head.list.record.tokenBalance
                }
                Footnote {
                    text: "Personal owner-wallet balance, separate from the agent vault. Test assets only."
                }
            }
            // The history's card opens here, its entries continue it and the footer closes it.
            ColumnLayout {
                objectName: "historySection"
                visible: head.list.session.connected
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
                        visible: head.list.count === 0
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
                visible: !head.list.session.connected
            }
        }

        delegate: HistoryEntry {
            id: entry
            readonly property AccountListView list: ListView.view as AccountListView
            x: (entry.list.width - width) / 2
            width: entry.list.column
            below: index < entry.list.count - 1 ? 10 : 0
            onExplore: url => entry.list.workspace.openURL(url)
            verifying: entry.list.session.verifying
            onVerify: id => entry.list.session.verifyTask(id)
        }

        footer: ColumnLayout {
            id: foot
            readonly property AccountListView list: ListView.view as AccountListView
            x: (foot.list.width - width) / 2
            width: foot.list.column
            spacing: 22

            CardEdge {
                visible: foot.list.session.connected
                Layout.fillWidth: true
                implicitHeight: proof.visible ? proof.implicitHeight + 20 : 12
                closing: true

                Label {
                    id: proof
                    objectName: "proof"
                    x: 16
                    y: 10
                    width: parent.width - 32
                    visible: foot.list.session.proof.length > 0
                    text: foot.list.session.proof
                    textFormat: Text.PlainText
                    font.pixelSize: Style.body
                    wrapMode: Text.Wrap
                }
            }

            VaultSection {
                vault: foot.list.workspace.balance
            }
            ProjectLinks {
                workspace: foot.list.workspace
            }
        }
    }
}
