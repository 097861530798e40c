import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Kelvra
import Kelvra.Controls
import Kelvra.Core

// The one window: the welcome screen until the user enters, then four tabs; the alert over both.
ApplicationWindow {
    id: window
    required property Workspace workspace

    width: 390
    height: 844
    // The narrowest window in which every screen fits: the trade lab's rows of a label and a
    // number field hold it above 320.
    minimumWidth: 330
    minimumHeight: 480
    visible: true
    title: "Kelvra"
    // Where no screen draws a background of its own, as on the welcome screen.
    color: Style.card
    Material.theme: Style.dark ? Material.Dark : Material.Light
    Material.accent: Style.teal
    Material.primary: Style.navy
    Material.foreground: Style.foreground

    // Set by the program once the first frame is on screen.
    property bool drawn: false

    Welcome {
        anchors.fill: parent
        visible: !window.workspace.entered
        workspace: window.workspace
        decorated: window.drawn
    }

    // The rest of the window once the first frame is out, or at once where it opens on the tabs.
    OnDemand {
        anchors.fill: parent
        wanted: window.drawn || window.workspace.entered
        part: "qrc:/Kelvra/WorkspaceView.qml"
        initial: ({ workspace: window.workspace })
    }

    // The tab bar, over the workspace's list of tabs.
    footer: OnDemand {
        wanted: window.workspace.entered
        part: "qrc:/Kelvra/TabStrip.qml"
        initial: ({ workspace: window.workspace })
    }
}
