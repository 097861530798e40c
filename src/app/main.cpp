// Kelvra: one window whose content is one Workspace.

#include "app/kelvrawindow.h"
#include "app/urlopener.h"
#include "model/site.h"
#include "unlock/pamownerauthenticator.h"

#include <QGuiApplication>

int main(int argc, char *argv[])
{
    KelvraWindow::prepareProcess();
    QGuiApplication app(argc, argv);
    PamOwnerAuthenticator authenticator;
    DesktopUrlOpener opener;
    KelvraWindow window(site(), Workspace::Platform{&authenticator, &opener});
    return window.load() ? QGuiApplication::exec() : 1;
}
