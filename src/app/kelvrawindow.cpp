#include "app/kelvrawindow.h"

#include "app/appsetup.h"

#include <QCoreApplication>
#include <QQuickWindow>

void KelvraWindow::prepareProcess()
{
    ::prepareProcess();
}

KelvraWindow::KelvraWindow(const QString &origin, Workspace::Platform platform)
    : m_workspace(origin, platform)
{
    // The style is chosen before the engine makes anything of Qt Quick Controls.
    prepareApplication();
    m_engine = std::make_unique<QQmlApplicationEngine>();
    prepareEngine(*m_engine);
    m_engine->setInitialProperties({{QStringLiteral("workspace"), QVariant::fromValue(&m_workspace)}});
    QObject::connect(
        m_engine.get(), &QQmlApplicationEngine::objectCreationFailed, QCoreApplication::instance(),
        [] { QCoreApplication::exit(1); }, Qt::QueuedConnection);
}

KelvraWindow::~KelvraWindow() = default;

QQuickWindow *KelvraWindow::window() const
{
    return qobject_cast<QQuickWindow *>(m_engine->rootObjects().value(0));
}

bool KelvraWindow::load()
{
    // The requests leave before the window is made: on loopback their replies are in by the time
    // it is, and on its first frame.
    m_workspace.start();
    m_engine->load(QUrl(QStringLiteral("qrc:/Kelvra/Main.qml")));
    QQuickWindow *made = window();
    if (!made)
        return false;
    // Swapped on the render thread; taken up on this one, once.
    auto first = std::make_shared<QMetaObject::Connection>();
    *first = QObject::connect(
        made, &QQuickWindow::frameSwapped, made,
        [made, first] {
            QObject::disconnect(*first);
            made->setProperty("drawn", true);
            setWindowIcon();
        },
        Qt::QueuedConnection);
    return true;
}
