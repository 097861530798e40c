import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Kelvra
import Kelvra.Core

// The Home tab: the vault card with its shortcuts, the market watch and the competition link.
// Pull down to reload the market snapshot (the vault is not reloaded here).
Page {
    id: root
    required property Workspace workspace

    background: Rectangle {
        color: Style.groupedBackground
    }

    QuoteList {
        id: quotes
        market: root.workspace.market
    }

    Flickable {
        id: scroll
        objectName: "homeScroll"
        anchors.fill: parent
        contentHeight: content.implicitHeight + 48
        boundsBehavior: Flickable.DragOverBounds
        ScrollIndicator.vertical: ScrollIndicator {}

        ColumnLayout {
            id: content
            x: 24
            y: 24
            width: scroll.width - 48
            spacing: 24

            Logo {}
            Label {
                text: "Overview"
                font.pixelSize: Style.largeTitle
                font.bold: true
                color: Brand.navy
                Accessible.role: Accessible.Heading
            }

            Rectangle {
                id: card
                objectName: "vaultCard"
                Layout.fillWidth: true
                implicitHeight: cardBody.implicitHeight + 48
                radius: 24
                color: Brand.navy

                ColumnLayout {
                    id: cardBody
                    anchors.fill: parent
                    anchors.margins: 24
                    spacing: 16

                    Label {
                        text: "ON-CHAIN TEST VAULT"
                        font.pixelSize: Style.caption
                        font.bold: true
                        color: "white"
                    }
                    Label {
                        objectName: "vaultFigure"
                        text: root.workspace.balance.balance
                        font.pixelSize: 40
                        font.bold: true
                        color: "white"
                    }
                    Label {
                        objectName: "vaultStatus"
                        Layout.fillWidth: true
                        text: root.workspace.balance.status
                        font.pixelSize: Style.subheadline
                        color: "white"
                        wrapMode: Text.Wrap
                    }
                    RowLayout {
                        spacing: 8
                        Button {
                            objectName: "accountDetails"
                            text: "Account details"
                            highlighted: true
                            Material.accent: Style.brightTeal
                            font.capitalization: Font.MixedCase
                            onClicked: root.workspace.selectedTab = Workspace.Account
                            Accessible.onPressAction: clicked()
                        }
                        Button {
                            objectName: "paperTrade"
                            text: "Paper trade"
                            highlighted: true
                            Material.accent: Style.brightTeal
                            font.capitalization: Font.MixedCase
                            onClicked: root.workspace.selectedTab = Workspace.Trade
                            Accessible.onPressAction: clicked()
                        }
                    }
                }
            }

            Label {
                text: "Market watch"
                font.pixelSize: Style.title2
                font.bold: true
                Accessible.role: Accessible.Heading
            }
            Repeater {
                model: quotes
                QuoteRow {
                    objectName: "homeQuoteRow"
                    Layout.fillWidth: true
                }
            }
            Label {
                objectName: "homeMarketStatus"
                Layout.fillWidth: true
                text: root.workspace.market.status
                font.pixelSize: Style.caption
                color: Style.secondary
                wrapMode: Text.Wrap
            }
            Link {
                objectName: "competitionLink"
                text: "Public competition evidence"
                onActivated: root.workspace.openSite("/competition.html")
            }
            Label {
                Layout.fillWidth: true
                text: "Market information is read-only. Trade lab is a simulation."
                font.pixelSize: Style.footnote
                color: Style.secondary
                wrapMode: Text.Wrap
            }
        }
    }

    PullToRefresh {
        flickable: scroll
        action: function () { return root.workspace.market.loadTask() }
    }
}
