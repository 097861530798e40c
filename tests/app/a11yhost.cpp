// The real window on the local service, for the screen-reader test to drive over the
// accessibility bus. The owner's device authentication first asks for the password of "ada"
// in its dialog (cancelled, so that the alert shows) and passes after that; the portal approves
// every sign-in at once, as the owner would in a browser. The test ends it.
//
//   kelvra-a11yhost WIDTH HEIGHT   (a window tall enough for whole screens: the bus shows only
//                                   what is in the window's view)

#include "appharness.h"
#include "localservice.h"

#include <QGuiApplication>

int main(int argc, char *argv[])
{
    KelvraWindow::prepareProcess();
    QGuiApplication application(argc, argv);
    LocalService service(OwnerRecords(QDateTime::currentDateTimeUtc()), std::chrono::minutes(15));
    if (argc != 3 || !service.start())
        return 2;
    AppHarness app(std::chrono::seconds(30), service.origin());
    app.opener.approving = true;
    app.authenticator->queuePrompt(QStringLiteral("ada"));
    for (int i = 0; i < 10; ++i)
        app.authenticator->queue(true);
    if (!app.show())
        return 1;
    app.window()->resize(QString::fromLocal8Bit(argv[1]).toInt(), QString::fromLocal8Bit(argv[2]).toInt());
    return QGuiApplication::exec();
}
