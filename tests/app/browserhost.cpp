// The real window on the local service, for the sign-in test with a real browser. The owner's
// device authentication passes; the app opens the portal, and the address it opens goes to the
// test on standard output instead of to a browser of the host's own. One line each:
//
//   portal URL       the address the app opened
//   code TEXT        the match code as the account screen shows it
//   status TEXT      the session's status once it no longer waits for approval
//   account TEXT     the owner's address as the account screen shows it, when connected
//
// then it serves on until its standard input closes, and exits 0; 1 when a step does not come
// within a minute. The app checks the claim every quarter second, as its half-minute timer would
// once the owner returns.

#include "appharness.h"
#include "localservice.h"
#include "owner/ownersession.h"

#include <QGuiApplication>
#include <QSocketNotifier>
#include <QTest>

#include <cstdio>
#include <unistd.h>

namespace {

bool waitFor(const std::function<bool()> &done)
{
    return QTest::qWaitFor(done, 60000);
}

void say(const char *key, const QString &value)
{
    std::printf("%s %s\n", key, value.toUtf8().constData());
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    KelvraWindow::prepareProcess();
    QGuiApplication application(argc, argv);
    LocalService service(OwnerRecords(QDateTime::currentDateTimeUtc()), std::chrono::minutes(15));
    if (!service.start())
        return 2;
    AppHarness app(std::chrono::milliseconds(250), service.origin());
    app.authenticator->queue(true);
    OwnerSession &session = *app.workspace->session();
    if (!app.show() || !app.click("ownerButton")
        || !waitFor([&] { return !app.opener.opened.isEmpty() && app.item("matchCode"); }))
        return 1;
    say("portal", app.opener.opened.first().toString());
    say("code", app.text("matchCode"));
    if (!waitFor([&] { return !session.status().startsWith(u"Waiting for"); }))
        return 1;
    say("status", session.status());
    if (session.connected()) {
        if (!waitFor([&] { return app.item("ownerAddress"); }))
            return 1;
        say("account", app.text("ownerAddress"));
    }
    bool closed = false;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char c;
        closed = ::read(STDIN_FILENO, &c, 1) <= 0;
    });
    return waitFor([&] { return closed; }) ? 0 : 1;
}
