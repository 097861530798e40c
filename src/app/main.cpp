// Kelvra: one window whose content is one Workspace.

#include "ownerauthenticator.h"
#include "pamownerauthenticator.h"
#include "site.h"
#include "urlopener.h"
#include "workspace.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(Kelvra_CorePlugin)
Q_IMPORT_QML_PLUGIN(KelvraPlugin)

int main(int argc, char *argv[])
{
    // Nothing is written to disk: no shader cache, no QML cache.
    QCoreApplication::setAttribute(Qt::AA_DisableShaderDiskCache);
    qputenv("QML_DISABLE_DISK_CACHE", "1");

    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("Kelvra"));
    QGuiApplication::setOrganizationName(QStringLiteral("Kelvra"));
    QGuiApplication::setDesktopFileName(QStringLiteral("app.kelvra.Kelvra"));
    QQuickStyle::setStyle(QStringLiteral("Material"));
    // Text from the font's own hinted glyphs rather than distance fields: where frames are drawn
    // on the CPU a screen of new text costs a fraction as much, and small text is sharper.
    QQuickWindow::setTextRenderType(QQuickWindow::NativeTextRendering);

    PamOwnerAuthenticator authenticator;
    DesktopUrlOpener opener;
    Workspace workspace(site(), Workspace::Platform{&authenticator, &opener});

    QQmlApplicationEngine engine;
    engine.setInitialProperties({{QStringLiteral("workspace"), QVariant::fromValue(&workspace)}});
    QObject::connect(
        &engine, &QQmlApplicationEngine::objectCreationFailed, &app, [] { QCoreApplication::exit(1); },
        Qt::QueuedConnection);
    engine.load(QUrl(QStringLiteral("qrc:/Kelvra/Main.qml")));
    if (engine.rootObjects().isEmpty())
        return 1;
    return QGuiApplication::exec();
}
