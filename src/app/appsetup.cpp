#include "app/appsetup.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QIcon>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPixmapCache>
#include <QQmlEngine>
#include <QQmlNetworkAccessManagerFactory>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QtQml/qqmlextensionplugin.h>

#include <unistd.h>

#include <utility>

// The QML modules are linked in statically; whoever sets the application up gets all three.
Q_IMPORT_QML_PLUGIN(Kelvra_CorePlugin)
Q_IMPORT_QML_PLUGIN(Kelvra_ControlsPlugin)
Q_IMPORT_QML_PLUGIN(KelvraPlugin)

namespace {

// What a request the window may not make gets: an error, delivered as a reply's would be,
// without a byte on the network.
class RefusedReply : public QNetworkReply
{
public:
    RefusedReply(QNetworkAccessManager::Operation operation, const QNetworkRequest &request, QObject *parent)
        : QNetworkReply(parent)
    {
        setRequest(request);
        setUrl(request.url());
        setOperation(operation);
        open(ReadOnly | Unbuffered);
        setError(ContentAccessDenied, QStringLiteral("Only the program's own resources are loaded"));
        setFinished(true);
        QMetaObject::invokeMethod(
            this,
            [this] {
                emit errorOccurred(error());
                emit finished();
            },
            Qt::QueuedConnection);
    }

    void abort() override {}

protected:
    qint64 readData(char *, qint64) override { return -1; }
};

class ResourcesOnly : public QNetworkAccessManager
{
public:
    using QNetworkAccessManager::QNetworkAccessManager;

protected:
    QNetworkReply *createRequest(Operation operation, const QNetworkRequest &request,
                                 QIODevice *body) override
    {
        if (request.url().scheme() == u"qrc")
            return QNetworkAccessManager::createRequest(operation, request, body);
        return new RefusedReply(operation, request, this);
    }
};

// Called from the engine's own threads too; it keeps nothing.
class ResourcesOnlyFactory : public QQmlNetworkAccessManagerFactory
{
public:
    QNetworkAccessManager *create(QObject *parent) override { return new ResourcesOnly(parent); }
};

} // namespace

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
    // The OpenGL drivers keep caches of compiled shaders in the user's home (Mesa's under
    // ~/.cache, NVIDIA's under ~/.nv); the program stores nothing, so they compile afresh.
    qputenv("MESA_SHADER_CACHE_DISABLE", "true");
    qputenv("__GL_SHADER_DISK_CACHE", "0");
    qputenv("QML_DISABLE_DISK_CACHE", "1");
    // On X11, Qt holds each requested frame back 5 ms to gather the changes that follow it. Ours
    // come whole in one turn of the event loop (a reply's fields, then the status line), so the
    // frame is drawn as soon as the loop is free. Animations are paced by the render thread and
    // are not affected; a value set by the user is kept.
    if (!qEnvironmentVariableIsSet("QT_QPA_UPDATE_IDLE_TIME"))
        qputenv("QT_QPA_UPDATE_IDLE_TIME", "0");
}

void prepareApplication()
{
    // Once per process: a style cannot change once a window has loaded it.
    static bool prepared = false;
    if (std::exchange(prepared, true))
        return;
    QGuiApplication::setApplicationName(QStringLiteral("Kelvra"));
    QGuiApplication::setOrganizationName(QStringLiteral("Kelvra"));
    // The desktop entry's name; the window's class and icon follow it.
    QGuiApplication::setDesktopFileName(QStringLiteral("app.kelvra.Kelvra"));
    QQuickStyle::setStyle(QStringLiteral("Material"));
    // Only the window icon would go through Qt's pixmap cache, which keeps it and wakes the
    // program on a 30-second timer to flush it.
    QPixmapCache::setCacheLimit(0);
    // Text from the font's own hinted glyphs rather than distance fields: where frames are drawn
    // on the CPU a screen of new text costs a fraction as much, and small text is sharper.
    QQuickWindow::setTextRenderType(QQuickWindow::NativeTextRendering);
    const QString backend =
        sceneGraphBackend([](const char *name) { return qgetenv(name); }, graphicsDevices());
    if (!backend.isEmpty())
        QQuickWindow::setSceneGraphBackend(backend);
}

QString sceneGraphBackend(const std::function<QByteArray(const char *)> &variable, const QStringList &devices)
{
    for (const char *chosen : {"QT_QUICK_BACKEND", "QMLSCENE_DEVICE", "QSG_RHI_BACKEND"}) {
        if (!variable(chosen).isEmpty())
            return {};
    }
    // OpenGL drawn on the CPU (Mesa's llvmpipe) compiles machine code for every kind of drawing
    // and copies a font's whole glyph image for each glyph it adds. Qt Quick's own renderer draws
    // the same screens with QPainter and repaints only what changed: the window starts in half
    // the time, with half the memory.
    const QByteArray software = variable("LIBGL_ALWAYS_SOFTWARE").toLower();
    const QByteArray gallium = variable("GALLIUM_DRIVER");
    const bool softwareAsked =
        (!software.isEmpty() && software != "0" && software != "false" && software != "no")
        || gallium == "llvmpipe" || gallium == "softpipe";
    return softwareAsked || devices.isEmpty() ? QStringLiteral("software") : QString();
}

QStringList graphicsDevices()
{
    QStringList usable;
    const QDir drm(QStringLiteral("/dev/dri"));
    QStringList candidates;
    for (const QString &node :
         drm.entryList({QStringLiteral("renderD*"), QStringLiteral("card*")}, QDir::System))
        candidates.append(drm.filePath(node));
    candidates.append(QStringLiteral("/dev/nvidiactl"));
    for (const QString &device : candidates) {
        if (::access(QFile::encodeName(device).constData(), R_OK | W_OK) == 0)
            usable.append(device);
    }
    return usable;
}

void setWindowIcon()
{
    // The desktop's icon theme first, which takes a look through the theme's folders.
    QGuiApplication::setWindowIcon(
        QIcon::fromTheme(QStringLiteral("app.kelvra.Kelvra"), QIcon(QStringLiteral(":/Kelvra/icon.svg"))));
}

void prepareEngine(QQmlEngine &engine)
{
    // Service texts are drawn as plain text; this holds even where some text were taken for
    // markup: an <img> in it, or any other network URL, fetches nothing.
    static ResourcesOnlyFactory factory;
    engine.setNetworkAccessManagerFactory(&factory);
    // The modules' files are carried under qrc:/Kelvra/..., where Qt 6.4 does not look by itself.
    engine.addImportPath(QStringLiteral("qrc:/"));
}
