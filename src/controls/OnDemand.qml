import QtQuick

// A part of the window made from `part`, with the properties `initial`, the first time it is
// wanted and then kept: what is not on screen yet costs nothing at start-up, and switching tabs
// reloads nothing.
Loader {
    id: loader
    property bool wanted
    required property url part
    property var initial: ({})
    function make() {
        if (loader.wanted && loader.status === Loader.Null)
            loader.setSource(loader.part, loader.initial)
    }
    onWantedChanged: make()
    Component.onCompleted: make()
}
