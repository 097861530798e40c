import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Kelvra
import Kelvra.Controls
import Kelvra.Core

// The Home tab: the vault card with its shortcuts, the market watch and the competition link.
// Pull down, press F5 or "Refresh" to reload the market snapshot and then the vault.
Page {
    id: root
    required property Workspace workspace

    // The vault card's buttons: bright on its navy, with a light focus ring.
    component VaultButton: CardButton {
        implicitHeight: 48
        font.pixelSize: Style.subheadline
        fill: Style.brightTeal
        ink: Style.textOnBrightTeal
        ring: Style.textOnNavy
    }

    title: "Home"
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
        ScrollIndicator.vertical: ScrollIndicator {
            Accessible.ignored: true
        }

        ColumnLayout {
            id: content
            width: Math.min(scroll.width - 48, Style.columnWidth)
            x: (scroll.width - width) / 2
            y: 24
            spacing: 24

            Logo {}
            RowLayout {
                Layout.fillWidth: true
                Heading {
                    Layout.fillWidth: true
                    text: "Overview"
                    font.pixelSize: Style.largeTitle
                    color: Style.navyText
                }
                RefreshButton {
                    busy: root.workspace.reloading
                    onClicked: root.workspace.reloadTask(Workspace.Home)
                }
            }

            Rectangle {
                id: card
                objectName: "vaultCard"
                Layout.fillWidth: true
                implicitHeight: cardBody.implicitHeight + 48
                radius: 24
                color: Style.navy

                ColumnLayout {
                    id: cardBody
                    anchors.fill: parent
                    anchors.margins: 24
                    spacing: 16

                    RowLayout {
                        Layout.fillWidth: true
                        Label {
                            Layout.fillWidth: true
                            text: "ON-CHAIN TEST VAULT"
                            textFormat: Text.PlainText
                            font.pixelSize: Style.caption
                            font.bold: true
                            color: Style.textOnNavy
                        }
                        Working {
                            objectName: "vaultWorking"
                            Layout.preferredHeight: 16
                            Layout.preferredWidth: 16
                            padding: 0
                            Material.accent: Style.textOnNavy
                            shown: root.workspace.balance.loading
                        }
                    }
                    // The figure keeps its size while it fits; in a narrow window it shrinks
                    // rather than run out of the card. The size is worked out once from the
                    // figure's width at full size: Qt's own fitting tries size after size, each
                    // a font kept in the font cache, whose clean-up then wakes the program.
                    Label {
                        id: vaultFigure
                        objectName: "vaultFigure"
                        Layout.fillWidth: true
                        text: root.workspace.balance.balance
                        textFormat: Text.PlainText
                        font.pixelSize: Math.max(16, Math.min(40, Math.floor(40 * (width - 2) / Math.max(1, fullSize.advanceWidth))))
                        font.bold: true
                        fontSizeMode: Text.HorizontalFit
                        minimumPixelSize: 16
                        color: Style.textOnNavy
                        TextMetrics {
                            id: fullSize
                            text: vaultFigure.text
                            font.pixelSize: 40
                            font.bold: true
                        }
                    }
                    Label {
                        objectName: "vaultStatus"
                        Layout.fillWidth: true
                        text: root.workspace.balance.status
                        textFormat: Text.PlainText
                        font.pixelSize: Style.subheadline
                        color: Style.textOnNavy
                        wrapMode: Text.Wrap
                    }
                    Flow {
                        Layout.fillWidth: true
                        spacing: 8
                        VaultButton {
                            objectName: "accountDetails"
                            text: "Account details"
                            onClicked: root.workspace.showTab(Workspace.Account)
                        }
                        VaultButton {
                            objectName: "paperTrade"
                            text: "Paper trade"
                            onClicked: root.workspace.showTab(Workspace.Trade)
                        }
                    }
                }
            }

            Heading {
                text: "Market watch"
                font.pixelSize: Style.title2
            }
            Repeater {
                model: quotes
                QuoteRow {
                    objectName: "homeQuoteRow"
                    Layout.fillWidth: true
                }
            }
            RowLayout {
                Layout.fillWidth: true
                Label {
                    objectName: "homeMarketStatus"
                    Layout.fillWidth: true
                    text: root.workspace.market.status
                    textFormat: Text.PlainText
                    font.pixelSize: Style.caption
                    color: Style.secondary
                    wrapMode: Text.Wrap
                }
                Working {
                    objectName: "marketWorking"
                    shown: root.workspace.market.loading
                }
            }
            Link {
                objectName: "competitionLink"
                text: "Public competition evidence"
                onActivated: root.workspace.openSite("/competition.html")
            }
            Footnote {
                text: "Market information is read-only. Trade lab is a simulation."
            }
        }
    }

    FollowFocus {
        flickable: scroll
    }
    PullToRefresh {
        flickable: scroll
        refreshing: root.workspace.reloading
        onPulled: root.workspace.reloadTask(Workspace.Home)
    }
}
