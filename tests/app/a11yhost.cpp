// The real window on the local service, for the screen-reader test to drive over the
// accessibility bus. The owner's device authentication refuses once (so that the alert shows)
// and passes after that; the portal approves every sign-in at once, as the owner would in a
// browser. The test ends it.
//
//   kelvra-a11yhost [WIDTH HEIGHT]   (a window tall enough for whole screens: the bus shows
//                                     only what is in the window's view)

#include "localservice.h"
#include "scriptedownerauthenticator.h"
#include "urlopener.h"
#include "workspace.h"

#include <QCoroNetworkReply>
#include <QGuiApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QWindow>
#include <QtQml/qqmlextensionplugin.h>

#include <memory>

Q_IMPORT_QML_PLUGIN(Kelvra_CorePlugin)
Q_IMPORT_QML_PLUGIN(KelvraPlugin)

using namespace std::chrono_literals;

namespace {

class ApprovingBrowser : public UrlOpener
{
public:
    void open(const QUrl &url) override
    {
        if (url.path().startsWith(u"/portal/"))
            approve(url);
    }

private:
    QCoro::Task<> approve(QUrl url)
    {
        QNetworkRequest request(url);
        request.setHeader(QNetworkRequest::ContentTypeHeader, "application/x-www-form-urlencoded");
        std::unique_ptr<QNetworkReply> reply(co_await m_client.post(request, QByteArray("decision=approve")));
    }

    QNetworkAccessManager m_client;
};

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication::setAttribute(Qt::AA_DisableShaderDiskCache);
    qputenv("QML_DISABLE_DISK_CACHE", "1");
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("Kelvra"));
    QQuickStyle::setStyle(QStringLiteral("Material"));

    LocalService service(OwnerRecords(QDateTime::currentDateTimeUtc()), 15min);
    if (!service.start())
        return 2;
    ScriptedOwnerAuthenticator authenticator;
    authenticator.queue(false);
    for (int i = 0; i < 10; ++i)
        authenticator.queue(true);
    ApprovingBrowser browser;
    Workspace workspace(service.origin(), Workspace::Platform{&authenticator, &browser});

    QQmlApplicationEngine engine;
    engine.setInitialProperties({{QStringLiteral("workspace"), QVariant::fromValue(&workspace)}});
    engine.load(QUrl(QStringLiteral("qrc:/Kelvra/Main.qml")));
    if (engine.rootObjects().isEmpty())
        return 1;
    if (argc == 3) {
        auto *window = qobject_cast<QWindow *>(engine.rootObjects().first());
        window->resize(QString::fromLocal8Bit(argv[1]).toInt(), QString::fromLocal8Bit(argv[2]).toInt());
    }
    return QGuiApplication::exec();
}
