// Kelvra: one window whose content is one Workspace.

#include "app/appsetup.h"
#include "app/urlopener.h"
#include "app/workspace.h"
#include "model/site.h"
#include "unlock/ownerauthenticator.h"
#include "unlock/pamownerauthenticator.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>

int main(int argc, char *argv[])
{
    prepareProcess();
    QGuiApplication app(argc, argv);
    prepareApplication();

    PamOwnerAuthenticator authenticator;
    DesktopUrlOpener opener;
    Workspace workspace(site(), Workspace::Platform{&authenticator, &opener});

    QQmlApplicationEngine engine;
    prepareEngine(engine);
    engine.setInitialProperties({{QStringLiteral("workspace"), QVariant::fromValue(&workspace)}});
    QObject::connect(
        &engine, &QQmlApplicationEngine::objectCreationFailed, &app, [] { QCoreApplication::exit(1); },
        Qt::QueuedConnection);
    engine.load(QUrl(QStringLiteral("qrc:/Kelvra/Main.qml")));
    if (engine.rootObjects().isEmpty())
        return 1;
    return QGuiApplication::exec();
}
