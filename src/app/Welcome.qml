import QtQuick
import QtQuick.Controls
import QtQuick.Controls.impl
import QtQuick.Layouts
import Kelvra.Controls
import Kelvra.Core

// The first screen: a guest path straight in, and the owner path through the unlock gate.
Page {
    id: root
    required property Workspace workspace
    // False for the window's first frame, which shows the words alone: on a CPU renderer every
    // other kind of drawing (an image, a filled shape) costs a shader of its own to compile, and
    // they follow a frame later. The page shows the window's colour.
    property bool decorated: true

    title: "Welcome"
    background: null

    // The spacers share the free height; a window too short for the screen scrolls it.
    FollowFocus {
        flickable: scroll
    }
    Flickable {
        id: scroll
        anchors.fill: parent
        contentHeight: Math.max(height, content.implicitHeight + 56)
        boundsBehavior: Flickable.StopAtBounds
        ScrollIndicator.vertical: ScrollIndicator {
            Accessible.ignored: true
        }

        ColumnLayout {
            id: content
            width: Math.min(scroll.width - 56, Style.welcomeWidth)
            height: scroll.contentHeight - 56
            x: (scroll.width - width) / 2
            y: 28
            spacing: 24

            Logo {
                shown: root.decorated
            }
            Item {
                Layout.fillHeight: true
            }
            Heading {
                Layout.fillWidth: true
                text: "Your agent.\nYour limits."
                font.pixelSize: 44
                color: Style.navyText
            }
            Label {
                Layout.fillWidth: true
                text: "Explore markets and paper trades. Sign in with a passkey to manage agent payments."
                textFormat: Text.PlainText
                font.pixelSize: Style.title3
                color: Style.secondary
                wrapMode: Text.Wrap
            }
            RowLayout {
                spacing: 8
                IconImage {
                    source: root.decorated ? "qrc:/Kelvra/icons/shield.svg" : ""
                    // Kept out of Qt Quick's image cache, which wakes the program every 30
                    // seconds while it holds an image no item shows.
                    cache: false
                    color: Style.foreground
                    sourceSize.width: 18
                    sourceSize.height: 18
                    Accessible.ignored: true
                }
                Label {
                    text: "Ethereum Sepolia · test assets only"
                    textFormat: Text.PlainText
                    font.pixelSize: Style.subheadline
                }
            }
            Item {
                Layout.fillHeight: true
            }
            // Plain teal cards: Material's raised background draws its shadow through offscreen
            // layers and shaders of its own, the dearest part of the first frame where frames are
            // drawn on the CPU.
            CardButton {
                objectName: "exploreButton"
                Layout.fillWidth: true
                text: "Explore public demo"
                fill: Style.tealFill
                ink: Style.textOnTeal
                filled: root.decorated
                onClicked: root.workspace.entered = true
            }
            CardButton {
                objectName: "ownerButton"
                Layout.fillWidth: true
                text: "Owner sign-in"
                fill: Style.tealTint
                ink: Style.teal
                filled: root.decorated
                onClicked: root.workspace.unlock()
            }
            Label {
                Layout.fillWidth: true
                text: "Made by the Kelvra team"
                textFormat: Text.PlainText
                font.pixelSize: Style.caption
                color: Style.secondary
                horizontalAlignment: Text.AlignHCenter
            }
        }
    }
}
