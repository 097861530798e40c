import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Kelvra.Controls
import Kelvra.Core

// The Trade tab: one scrolling form over the trade lab's state. Nothing here computes; the
// preview changes only when "Calculate paper preview" is pressed.
Page {
    id: root
    required property TradeScreen trade

    title: "Trade lab"
    background: Rectangle {
        color: Style.groupedBackground
    }

    FollowFocus {
        flickable: scroll
    }
    Binding {
        target: root.trade
        property: "shown"
        value: root.visible
    }
    Flickable {
        id: scroll
        objectName: "tradeScroll"
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
                text: "Trade lab"
                font.pixelSize: Style.largeTitle
            }

            Section {
                Heading {
                    text: "Paper trading"
                    font.pixelSize: Style.headline
                    font.weight: Font.DemiBold
                }
                Footnote {
                    text: "No funds move. Fee and slippage below are your assumptions, not exchange rates."
                }
            }

            Section {
                title: "Order"
                RowLayout {
                    Layout.fillWidth: true
                    spacing: 12
                    Label {
                        text: "Side"
                        textFormat: Text.PlainText
                        font.pixelSize: Style.body
                        Accessible.ignored: true
                    }
                    Item {
                        Layout.fillWidth: true
                    }
                    SideSelector {
                        objectName: "side"
                        side: root.trade.side
                        onChosen: choice => root.trade.side = choice
                    }
                }
                RowLayout {
                    Layout.fillWidth: true
                    spacing: 12
                    Label {
                        text: "Asset"
                        textFormat: Text.PlainText
                        font.pixelSize: Style.body
                        Accessible.ignored: true
                    }
                    Item {
                        Layout.fillWidth: true
                    }
                    Picker {
                        objectName: "asset"
                        Layout.preferredWidth: 160
                        model: root.trade.assetNames
                        currentIndex: root.trade.assetIndex
                        onActivated: index => root.trade.assetIndex = index
                        Accessible.name: "Asset"
                    }
                }
                DecimalField {
                    objectName: "sizeRow"
                    inputName: "size"
                    label: "Size (USD)"
                    placeholder: "100"
                    invalid: root.trade.invalidField === "size"
                    text: root.trade.size
                    onEdited: text => root.trade.size = text
                }
            }

            Section {
                objectName: "snapshotSection"
                visible: root.trade.hasQuote
                title: "Market snapshot"
                ValueRow {
                    objectName: "lastTrade"
                    label: "Last trade"
                    value: root.trade.lastTrade
                }
                ValueRow {
                    objectName: "change24h"
                    label: "24h change"
                    value: root.trade.change
                }
                ValueRow {
                    objectName: "lowHigh"
                    label: "24h low / high"
                    value: root.trade.lowHigh
                }
                ValueRow {
                    objectName: "bidAsk"
                    label: "Best bid / ask"
                    value: root.trade.bidAsk
                }
                ValueRow {
                    objectName: "spread"
                    label: "Spread"
                    value: root.trade.spread
                }
                ValueRow {
                    objectName: "volume"
                    label: "24h volume"
                    value: root.trade.volume
                }
                Label {
                    objectName: "quoteTime"
                    text: "Last trade: " + root.trade.quoteTime
                    textFormat: Text.PlainText
                    font.pixelSize: Style.caption
                    color: Style.secondary
                }
                Label {
                    objectName: "quoteAge"
                    Layout.fillWidth: true
                    text: root.trade.quoteAge
                    textFormat: Text.PlainText
                    font.pixelSize: Style.caption
                    color: root.trade.quoteFresh ? Style.secondary : Style.red
                    wrapMode: Text.Wrap
                }
                AccentButton {
                    objectName: "refreshSnapshot"
                    text: "Refresh snapshot"
                    onClicked: root.trade.refresh()
                }
            }

            Section {
                title: "Assumptions"
                DecimalField {
                    inputName: "fee"
                    label: "Fee (%)"
                    placeholder: "0.1"
                    invalid: root.trade.invalidField === "fee"
                    text: root.trade.fee
                    onEdited: text => root.trade.fee = text
                }
                DecimalField {
                    inputName: "slippage"
                    label: "Slippage (%)"
                    placeholder: "0.5"
                    invalid: root.trade.invalidField === "slippage"
                    text: root.trade.slippage
                    onEdited: text => root.trade.slippage = text
                }
                AccentButton {
                    objectName: "calculate"
                    text: "Calculate paper preview"
                    onClicked: root.trade.calculate()
                }
            }

            Section {
                title: "Result"
                Label {
                    objectName: "preview"
                    Layout.fillWidth: true
                    text: root.trade.preview
                    textFormat: Text.PlainText
                    font.pixelSize: Style.body
                    wrapMode: Text.Wrap
                }
            }

            Section {
                Footnote {
                    text: "A bid/ask snapshot is not a guaranteed execution price. Agent payments are a separate permission-controlled feature."
                }
            }
        }
    }
}
