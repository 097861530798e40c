import QtQuick
import Kelvra.Controls
import Kelvra.Core

// The account page's list. It carries what its header, entries and footer show, since those
// reach the list and not the page.
ListView {
    required property Workspace workspace
    required property AccountRecord record
    readonly property OwnerSession session: workspace.session
    // The page's one column: the window's width less its margins, at most a readable width.
    readonly property real column: Math.min(width - 32, Style.columnWidth)
    // How far the view is scrolled from the top of the page.
    property real fromTop: 0
    onContentYChanged: fromTop = contentY - originY + topMargin
}
