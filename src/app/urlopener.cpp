#include "app/urlopener.h"

#include <QDesktopServices>

void DesktopUrlOpener::open(const QUrl &url)
{
    // Whether a browser took it is not ours to report: nothing is shown either way.
    QDesktopServices::openUrl(url);
}
