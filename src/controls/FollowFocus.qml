import QtQuick

// Scrolls the flickable so that the item the keyboard focus moves to inside it is in view, with
// a margin, as Tab walks a screen taller than the window.
QtObject {
    id: root
    required property Flickable flickable
    readonly property Item focused: flickable.Window.activeFocusItem
    readonly property int margin: 24

    onFocusedChanged: {
        let inside = false
        for (let p = focused ? focused.parent : null; p && !inside; p = p.parent)
            inside = p === flickable.contentItem
        if (!inside)
            return
        // A list's header lies above its origin, and its margins widen the range.
        const least = flickable.originY - flickable.topMargin
        const most = Math.max(least, flickable.originY + flickable.contentHeight + flickable.bottomMargin
                                         - flickable.height)
        const top = focused.mapToItem(flickable.contentItem, 0, 0).y - margin
        const bottom = top + focused.height + 2 * margin
        if (top < flickable.contentY)
            flickable.contentY = Math.max(least, top)
        else if (bottom > flickable.contentY + flickable.height)
            flickable.contentY = Math.min(most, bottom - flickable.height)
    }
}
