// kelvra-journey ORIGIN: one whole visit of the app, through its real window and stores, against
// the service at ORIGIN: start-up loads, a search, a market refresh, a paper calculation, the
// owner's sign-in with the portal approved as a browser would, an account refresh, a receipt and
// sign-out. Prints nothing and exits 0 when every step came out as it should; otherwise names
// the step that did not.

#include "appharness.h"
#include "market/markets.h"
#include "owner/ownersession.h"
#include "trade/tradescreen.h"
#include "vault/vaultbalance.h"

#include <QGuiApplication>
#include <QTest>

#include <cstdio>

namespace {

bool waitFor(const std::function<bool()> &done)
{
    return QTest::qWaitFor(done, 10000);
}

int journey(AppHarness &app)
{
    Workspace &w = *app.workspace;
    const auto step = [](bool ok, const char *what) {
        if (!ok)
            std::fprintf(stderr, "kelvra-journey: %s\n", what);
        return ok;
    };
    if (!step(app.show(), "the window did not open")
        || !step(waitFor([&] { return w.balance()->status().startsWith("Permission"); }), "start-up loads")
        || !step(app.click("exploreButton") && waitFor([&] { return w.entered(); }), "entering as a guest")
        || !step(app.click("tabMarkets") && app.type("search", "btc")
                     && waitFor([&] { return app.items("quoteRow").size() == 1; }),
                 "the search")
        || !step(app.click("tabTrade") && app.click("refreshSnapshot") && waitFor([&] {
                     return w.market()->loading();
                 }) && waitFor([&] { return !w.market()->loading() && w.trade()->hasQuote(); }),
                 "the market refresh")
        || !step(app.click("calculate")
                     && waitFor([&] { return w.trade()->preview().startsWith("Paper buy"); }),
                 "the paper calculation")
        || !step(app.click("tabAccount") && app.click("signIn")
                     && waitFor([&] { return app.opener.approved == 1; }),
                 "the sign-in")
        || !step(app.click("checkConnection") && waitFor([&] { return w.session()->connected(); })
                     && waitFor([&] { return !app.items("verify").isEmpty(); }),
                 "the account refresh")
        || !step(app.click(app.items("verify").first())
                     && waitFor([&] { return w.session()->proof().contains(u'\n'); }),
                 "the receipt")
        || !step(app.click("signOut") && waitFor([&] { return !w.session()->connected(); }), "signing out"))
        return 1;
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    KelvraWindow::prepareProcess();
    QGuiApplication application(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: kelvra-journey ORIGIN\n");
        return 2;
    }
    AppHarness app(std::chrono::seconds(30), QString::fromLocal8Bit(argv[1]));
    app.authenticator->queue(true);
    app.opener.approving = true;
    return journey(app);
}
