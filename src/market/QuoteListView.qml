import QtQuick

// The market list, carrying what its footer shows: a footer reaches the list, not the page.
ListView {
    property string status
    property bool loading
    property string emptyText
}
