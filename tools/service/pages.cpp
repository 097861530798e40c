#include "pages.h"

namespace {

QByteArray page(const QString &title, const QString &body)
{
    static const QString style =
        QStringLiteral("body{font-family:sans-serif;max-width:40em;margin:2em auto;padding:0 1em;"
                       "color:#082B4C;line-height:1.5}"
                       "h1{color:#007D75}a{color:#007D75}"
                       ".code{font-family:monospace;font-size:2.5em;letter-spacing:.2em;margin:.5em 0}"
                       "button{font-size:1.1em;padding:.5em 1.5em;margin-right:1em}"
                       "nav a{margin-right:1em}");
    return QStringLiteral("<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
                          "<meta name=\"viewport\" content=\"width=device-width\">"
                          "<title>%1 · Kelvra</title><style>%2</style></head><body>"
                          "<nav><a href=\"/\">Kelvra</a><a href=\"/demo.html\">Guided demo</a>"
                          "<a href=\"/competition.html\">Competition</a></nav>"
                          "<h1>%1</h1>%3</body></html>\n")
        .arg(title.toHtmlEscaped(), style, body)
        .toUtf8();
}

} // namespace

QByteArray homePage()
{
    return page(
        QStringLiteral("Kelvra · agent payments"),
        QStringLiteral("<p>Kelvra lets an AI agent pay for the services it uses from a shared vault on the "
                       "Ethereum Sepolia test network, within limits its owner sets. Only test assets "
                       "move.</p>"
                       "<section id=\"agent\"><h2>AI payments</h2>"
                       "<p>The agent holds a spending permission on the vault: a budget in kUSD and an "
                       "expiry. Every payment it makes carries an intent it signed, and its owner can "
                       "verify the receipt of each one from the Kelvra app.</p>"
                       "<p>The owner signs in on this service's portal; the app then shows the account, "
                       "the wallet's balances and the payment history, read-only.</p></section>"
                       "<section><h2>Market watch</h2><p>Reference quotes for BTC-USD, ETH-USD and SOL-USD "
                       "at <a href=\"/market-data\">/market-data</a>.</p></section>"));
}

QByteArray demoPage(bool agentActive, const QString &formToken)
{
    const QString state = agentActive ? QStringLiteral("The agent's spending permission is <b>on</b>.")
                                      : QStringLiteral("The agent's spending permission is <b>revoked</b>.");
    const QString button = agentActive ? QStringLiteral("Revoke the agent's permission")
                                       : QStringLiteral("Enable the agent's permission");
    return page(
        QStringLiteral("Guided demo"),
        QStringLiteral("<ol><li>Open the Kelvra app and look at the market watch and the trade lab; "
                       "neither needs a sign-in.</li>"
                       "<li>On the Account tab, press \"Sign in &amp; connect app\". A portal page opens "
                       "here; check that its match code is the one the app shows, and approve.</li>"
                       "<li>Back in the app, the account, balances and payment history appear. Verify a "
                       "payment's receipt.</li>"
                       "<li>Revoke the agent's permission below and refresh the vault balance in the "
                       "app.</li></ol>"
                       "<h2>Agent permission</h2><p>%1</p>"
                       "<form method=\"post\" action=\"/contest/permission\">"
                       "<input type=\"hidden\" name=\"token\" value=\"%4\">"
                       "<input type=\"hidden\" name=\"active\" value=\"%2\">"
                       "<button type=\"submit\">%3</button></form>")
            .arg(state, agentActive ? QStringLiteral("false") : QStringLiteral("true"), button,
                 formToken.toHtmlEscaped()));
}

QByteArray competitionPage()
{
    return page(
        QStringLiteral("Competition materials"),
        QStringLiteral("<p>The agent competes with a shared test vault on Sepolia and may spend part of it "
                       "under its permission. Nothing here is real money.</p>"
                       "<ul><li>The vault's balance, the agent's remaining budget and whether its "
                       "permission is on: <a href=\"/contest/status\">/contest/status</a>.</li>"
                       "<li>The reference quotes the agent trades on paper against: "
                       "<a href=\"/market-data\">/market-data</a>.</li>"
                       "<li>A walk through the owner's side: <a href=\"/demo.html\">the guided "
                       "demo</a>.</li></ul>"));
}

QByteArray portalPage(const QString &id, const QString &code, const QString &formToken, PortalView view)
{
    switch (view) {
    case PortalView::Waiting:
        return page(QStringLiteral("Approve a device sign-in"),
                    QStringLiteral("<p>A Kelvra app asks for read-only access to your account. Approve "
                                   "only if it shows this match code:</p><p class=\"code\">%1</p>"
                                   "<form method=\"post\" action=\"/portal/%2\">"
                                   "<input type=\"hidden\" name=\"token\" value=\"%3\">"
                                   "<button type=\"submit\" name=\"decision\" value=\"approve\">Approve"
                                   "</button><button type=\"submit\" name=\"decision\" value=\"deny\">"
                                   "Deny</button></form>")
                        .arg(code.toHtmlEscaped(), id.toHtmlEscaped(), formToken.toHtmlEscaped()));
    case PortalView::Approved:
        return page(QStringLiteral("Sign-in approved"),
                    QStringLiteral("<p>Return to the Kelvra app; it connects by itself.</p>"));
    case PortalView::Denied:
        return page(QStringLiteral("Sign-in denied"),
                    QStringLiteral("<p>The app gets no access. You can close this page.</p>"));
    case PortalView::Claimed:
        return page(QStringLiteral("Sign-in complete"),
                    QStringLiteral("<p>The app has connected. You can close this page.</p>"));
    }
    return {};
}
