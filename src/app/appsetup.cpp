#include "appsetup.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QGuiApplication>
#include <QIcon>
#include <QQuickStyle>
#include <QQuickWindow>

#include <unistd.h>

void prepareProcess()
{
    // Without XDG_RUNTIME_DIR, Qt warns and makes a folder of its own under /tmp while the
    // application object is made. The session's own folder is used where it exists.
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        const QString session = QStringLiteral("/run/user/%1").arg(::geteuid());
        const QFileInfo folder(session);
        if (folder.isDir() && folder.ownerId() == ::geteuid()
            && folder.permissions()
                   == (QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadUser
                       | QFile::WriteUser | QFile::ExeUser))
            qputenv("XDG_RUNTIME_DIR", QFile::encodeName(session));
    }
    QCoreApplication::setAttribute(Qt::AA_DisableShaderDiskCache);
    qputenv("QML_DISABLE_DISK_CACHE", "1");
}

void prepareApplication()
{
    QGuiApplication::setApplicationName(QStringLiteral("Kelvra"));
    QGuiApplication::setOrganizationName(QStringLiteral("Kelvra"));
    // The desktop entry's name; the window's class and icon follow it.
    QGuiApplication::setDesktopFileName(QStringLiteral("app.kelvra.Kelvra"));
    QGuiApplication::setWindowIcon(
        QIcon::fromTheme(QStringLiteral("app.kelvra.Kelvra"), QIcon(QStringLiteral(":/Kelvra/icon.svg"))));
    QQuickStyle::setStyle(QStringLiteral("Material"));
    // Text from the font's own hinted glyphs rather than distance fields: where frames are drawn
    // on the CPU a screen of new text costs a fraction as much, and small text is sharper.
    QQuickWindow::setTextRenderType(QQuickWindow::NativeTextRendering);
}
