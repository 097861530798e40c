import QtQuick
import Kelvra.Controls
import Kelvra.Core

// The account page's list. It carries what its header, entries and footer show, since those
// reach the list and not the page.
ListView {
    id: root
    required property Workspace workspace
    required property AccountRecord record
    readonly property OwnerSession session: workspace.session
    // The page's one column: the window's width less its margins, at most a readable width.
    readonly property real column: Math.min(width - 32, Style.columnWidth)
    // How far the view is scrolled from the top of the page.
    property real fromTop: 0
    onContentYChanged: fromTop = contentY - originY + topMargin

    // Entries are made ahead of the view as Qt does, for Tab to reach the next one and for
    // flicking, but not for the frame that first shows a history: Qt makes them in slices of up
    // to 10 ms of the event loop's time, and that frame would wait for them.
    property bool ahead: false
    cacheBuffer: root.ahead ? 320 : 0
    onCountChanged: {
        if (root.count === 0)
            root.ahead = false
    }
    Connections {
        target: root.Window.window
        enabled: !root.ahead && root.count > 0
        function onFrameSwapped() {
            root.ahead = true
        }
    }
}
