import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kelvra.Core
import Kelvra.Controls

// The service's own pages, opened in the user's browser.
Section {
    id: root
    required property Workspace workspace

    objectName: "projectSection"
    title: "Project"
    AccentButton {
        objectName: "openPayments"
        text: "Open AI payments"
        onClicked: root.workspace.openSite("/#agent")
    }
    Link {
        objectName: "demoLink"
        text: "Try guided demo"
        onActivated: root.workspace.openSite("/demo.html")
    }
    Link {
        objectName: "competitionMaterials"
        text: "Competition materials"
        onActivated: root.workspace.openSite("/competition.html")
    }
    Label {
        Layout.fillWidth: true
        text: "Kelvra · test assets only"
        textFormat: Text.PlainText
        font.pixelSize: Style.caption
        color: Style.secondary
    }
}
