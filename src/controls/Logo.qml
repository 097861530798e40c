import QtQuick
import Kelvra.Controls

// The brand image fitted into a fixed 170 x 60 frame; the frame keeps its size when the image
// is missing, so nothing below it moves.
Item {
    id: logo
    // False leaves the frame empty, and the image unread.
    property bool shown: true

    implicitWidth: 170
    implicitHeight: 60
    Accessible.role: Accessible.Graphic
    Accessible.name: "Kelvra"

    Image {
        anchors.fill: parent
        // The wordmark in the navy of headings: the brand navy is lost on a dark background.
        source: !logo.shown ? "" : Style.dark ? "qrc:/Kelvra/Controls/logo-dark.png" : "qrc:/Kelvra/Controls/logo.png"
        fillMode: Image.PreserveAspectFit
        // Kept out of Qt Quick's image cache, which wakes the program every 30 seconds while it
        // holds an image no item shows.
        cache: false
        horizontalAlignment: Image.AlignHCenter
        verticalAlignment: Image.AlignVCenter
        smooth: true
        mipmap: true
    }
}
