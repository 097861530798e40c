// Kelvra: one window whose content is one Workspace.

#include "appsetup.h"
#include "ownerauthenticator.h"
#include "pamownerauthenticator.h"
#include "site.h"
#include "urlopener.h"
#include "workspace.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(Kelvra_CorePlugin)
Q_IMPORT_QML_PLUGIN(KelvraPlugin)

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
