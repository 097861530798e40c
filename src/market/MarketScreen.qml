import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Controls
import Kelvra.Core

// The Markets tab: the searchable quote list, the store's status line and the disclaimer;
// pull down, press F5 or "Refresh" to reload the snapshot.
Page {
    id: root
    required property Markets market
    property alias query: search.text

    function focusSearch() {
        search.forceActiveFocus(Qt.ShortcutFocusReason)
    }

    title: "Markets"
    background: Rectangle {
        color: Style.groupedBackground
    }

    header: Pane {
        padding: 16
        Accessible.ignored: true
        bottomPadding: 8
        background: Rectangle {
            color: Style.groupedBackground
        }
        ColumnLayout {
            anchors.top: parent.top
            anchors.bottom: parent.bottom
            anchors.horizontalCenter: parent.horizontalCenter
            width: Math.min(parent.width, Style.columnWidth)
            spacing: 10
            RowLayout {
                Layout.fillWidth: true
                Heading {
                    Layout.fillWidth: true
                    text: "Markets"
                    font.pixelSize: Style.largeTitle
                }
                RefreshButton {
                    busy: root.market.loading
                    onClicked: root.market.loadTask()
                }
            }
            TextField {
                id: search
                objectName: "search"
                Layout.fillWidth: true
                placeholderText: "Find an asset"
                inputMethodHints: Qt.ImhNoPredictiveText
                Accessible.name: "Find an asset"
            }
        }
    }

    QuoteList {
        id: quotes
        market: root.market
        query: search.text
    }

    QuoteListView {
        id: list
        objectName: "quoteList"
        status: root.market.status
        loading: root.market.loading
        emptyText: quotes.emptyText
        anchors.top: parent.top
        anchors.bottom: parent.bottom
        anchors.horizontalCenter: parent.horizontalCenter
        width: Math.min(parent.width - 32, Style.columnWidth)
        spacing: 12
        topMargin: 8
        bottomMargin: 16
        boundsBehavior: Flickable.DragOverBounds
        model: quotes
        delegate: QuoteRow {
            objectName: "quoteRow"
            width: ListView.view.width
        }
        footer: ColumnLayout {
            id: foot
            readonly property QuoteListView list: ListView.view as QuoteListView
            width: ListView.view.width
            spacing: 6
            Label {
                objectName: "noMatch"
                Layout.fillWidth: true
                visible: text.length > 0
                text: foot.list.emptyText
                textFormat: Text.PlainText
                font.pixelSize: Style.body
                color: Style.secondary
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.Wrap
                topPadding: 16
                bottomPadding: 16
            }
            Item {
                implicitHeight: 6
            }
            RowLayout {
                Layout.fillWidth: true
                Label {
                    objectName: "marketStatus"
                    Layout.fillWidth: true
                    text: foot.list.status
                    textFormat: Text.PlainText
                    font.pixelSize: Style.caption
                    wrapMode: Text.Wrap
                }
                Working {
                    objectName: "marketWorking"
                    shown: foot.list.loading
                }
            }
            Footnote {
                text: "Source prices are reference snapshots, not executable swap quotes."
            }
        }
    }

    PullToRefresh {
        flickable: list
        refreshing: root.market.loading
        onPulled: root.market.loadTask()
    }
}
