# What a screen reader finds in the window, read over the accessibility bus (AT-SPI).
#
# Starts the host (the real window on the local service), walks the tree of each screen, checks
# that everything shown has a role and a name and that every control and text of the screen is
# there by role and name, and moves from screen to screen only through the accessibility
# interface's Press action, as a screen reader's user would.
#
#     screenreader.py HOST    (on a display 3600 pixels high, with the accessibility bus on;
#                              see screenreader.sh)

import os
import re
import subprocess
import sys
import time

import pyatspi
from gi.repository import GLib

# Roles that only group others may go without a name.
CONTAINERS = {"frame", "page tab list", "panel", "filler", "scroll pane", "dialog"}

PRICE_ROW = r"{}, {}, .+, [+-]\d+\.\d\d% · 24h"
QUOTES = [("list item", PRICE_ROW.format(n, s)) for n, s in
          [("Bitcoin", "BTC"), ("Ethereum", "ETH"), ("Solana", "SOL")]]
TABS = [("page tab", t) for t in ("Home", "Markets", "Trade", "Account")]

# Each screen: the page's name, and what must be in it, as (role, name pattern).
SCREENS = {
    "welcome": ("Welcome", [
        ("image", "Kelvra"), ("heading", "Your agent.\nYour limits."),
        ("label", "Explore markets and paper trades. Sign in with a passkey to manage agent payments."),
        ("label", "Ethereum Sepolia · test assets only"), ("push button", "Explore public demo"),
        ("push button", "Owner sign-in"), ("label", "Made by the Kelvra team"),
    ]),
    "home": ("Home", [
        ("image", "Kelvra"), ("heading", "Overview"), ("label", "ON-CHAIN TEST VAULT"),
        ("label", r"\d+\.\d\d kUSD"), ("label", "Permission enabled; expiry and limits still apply"),
        ("push button", "Account details"), ("push button", "Paper trade"), ("heading", "Market watch"),
        *QUOTES, ("label", r"Coinbase Exchange · refreshed .+"), ("link", "Public competition evidence"),
        ("label", "Market information is read-only. Trade lab is a simulation."),
    ]),
    "markets": ("Markets", [
        ("heading", "Markets"), ("text", "Find an asset"), *QUOTES,
        ("label", r"Coinbase Exchange · refreshed .+"),
        ("label", "Source prices are reference snapshots, not executable swap quotes."),
    ]),
    "trade": ("Trade lab", [
        ("heading", "Trade lab"), ("heading", "Paper trading"),
        ("label", "No funds move. Fee and slippage below are your assumptions, not exchange rates."),
        ("heading", "Order"), ("panel", "Side"), ("radio button", "Buy"), ("radio button", "Sell"),
        ("combo box", "Asset"), ("text", r"Size \(USD\)"), ("heading", "Market snapshot"),
        ("label", r"Last trade: .+\d.*"), ("label", r"24h change: [+-]\d+\.\d\d%"),
        ("label", r"24h low / high: \$\d+\.\d\d / \$\d+\.\d\d"),
        ("label", r"Best bid / ask: \$\d+\.\d\d / \$\d+\.\d\d"), ("label", r"Spread: \d+\.\d{3}%"),
        ("label", r"24h volume: \d+\.\d\d BTC"), ("push button", "Refresh snapshot"),
        ("heading", "Assumptions"), ("text", r"Fee \(%\)"), ("text", r"Slippage \(%\)"),
        ("push button", "Calculate paper preview"), ("heading", "Result"),
        ("label", r"Paper buy\n(.+\n){4}No order or transaction sent\."),
        ("label", "A bid/ask snapshot is not a guaranteed execution price. Agent payments are a "
                  "separate permission-controlled feature."),
    ]),
    "guest": ("Account", [
        ("heading", "Account"), ("heading", "Session"), ("label", "Guest demo · no owner session"),
        ("push button", "Sign in & connect app"), ("push button", "Check connection / refresh account"),
        ("label", "Read-only account and history access. Payments require the passkey portal. "
                  "Session ends with browser logout or expiry; restarting the app clears access."),
        ("heading", "Agent test vault"), ("label", r"\d+\.\d\d kUSD"),
        ("label", r"Remaining allowance: \d+\.\d\d kUSD"),
        ("label", "Permission enabled; expiry and limits still apply"),
        ("label", "Shared competition vault, not your wallet balance."),
        ("push button", "Refresh vault balance"), ("heading", "Project"), ("push button", "Open AI payments"),
        ("link", "Try guided demo"), ("link", "Competition materials"),
        ("label", "Kelvra · test assets only"),
    ]),
    "owner": ("Account", [
        ("label", r"Owner connected · read-only until .+"), ("push button", "Sign out"),
        ("heading", "Your owner wallet"), ("label", r"0x[0-9a-f]{40}"), ("label", r"Test ETH: .+"),
        ("label", r"Wallet kUSD: .+"),
        ("label", "Personal owner-wallet balance, separate from the agent vault. Test assets only."),
        ("heading", "Payment history"), ("heading", r"\S+ kUSD · \S+"), ("link", "View on explorer"),
        ("push button", "Verify original intent"),
    ]),
}

failures = []


def visible(node):
    # The node and everything under it that is on screen.
    if node is None or not node.getState().contains(pyatspi.STATE_VISIBLE):
        return []
    found = [node]
    for child in node:
        found += visible(child)
    return found


def application():
    return next((a for a in pyatspi.Registry.getDesktop(0) if a is not None and a.name == "Kelvra"), None)


def page(app, name):
    return next((n for n in visible(app) if matches(n, "page tab", re.escape(name)) and n.childCount > 0), None)


def matches(node, role, pattern):
    return node.getRoleName() == role and re.fullmatch(pattern, node.name or "") is not None


def find(root, role, pattern):
    return next((n for n in visible(root) if matches(n, role, pattern)), None)


def check(screen, root):
    # Everything shown has a role and a name; every item the screen names is there.
    _, expected = SCREENS[screen]
    nodes = visible(root)
    for node in nodes:
        role = node.getRoleName()
        if role == "unknown" or (not node.name and role not in CONTAINERS):
            failures.append(f"{screen}: a [{role}] without a name: {node.description!r}")
    for role, pattern in expected:
        if not any(matches(n, role, pattern) for n in nodes):
            failures.append(f"{screen}: no [{role}] {pattern!r}")


def press(root, role, name):
    # Presses a control through its accessible Press action.
    node = find(root, role, re.escape(name))
    if node is None:
        raise SystemExit(f"FAIL: nothing to press: [{role}] {name!r}")
    action = node.queryAction()
    names = [action.getName(i) for i in range(action.nActions)]
    if "Press" not in names:
        raise SystemExit(f"FAIL: [{role}] {name!r} has no Press action, only {names}")
    action.doAction(names.index("Press"))


def wait_for(what, condition, seconds=10):
    # Runs the bus's events until `condition()` holds.
    context = GLib.MainContext.default()
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        while context.iteration(False):
            pass
        try:
            if condition():
                return
        except Exception:  # the tree may change under a walk; try again
            pass
        time.sleep(0.05)
    raise SystemExit(f"FAIL: {what}")


def visit(app, tab, name=None, ready=lambda p: True):
    # Moves to a tab by pressing it; its page once `ready` holds.
    name = name or tab
    press(app, "page tab", tab)
    wait_for(f"the {name} screen", lambda: page(app, name) and ready(page(app, name)))
    return page(app, name)


def main(host):
    shown = []

    def on_showing(event):
        if event.detail1:
            shown.append((event.source.getRoleName(), event.source.name))

    pyatspi.Registry.registerEventListener(on_showing, "object:state-changed:showing")
    env = dict(os.environ, QT_QPA_PLATFORM="xcb", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
    # Only what lies in the window's view is on the bus: a window tall enough for whole screens.
    app_process = subprocess.Popen([host, "480", "3600"], env=env)
    try:
        wait_for("the app on the accessibility bus", lambda: application() is not None, 20)
        app = application()
        wait_for("the welcome screen", lambda: page(app, "Welcome"))
        check("welcome", page(app, "Welcome"))

        # A refused device authentication: the alert is announced as it appears.
        press(app, "push button", "Owner sign-in")
        text = "Device verification was not completed."
        wait_for("the alert announced", lambda: ("alert", text) in shown)
        dialog = find(app, "dialog", "Kelvra")
        if dialog is None or find(dialog, "alert", re.escape(text)) is None:
            failures.append("the alert is not a dialog 'Kelvra' holding its text")
        press(app, "push button", "OK")
        wait_for("the alert dismissed", lambda: find(app, "dialog", "Kelvra") is None)

        press(app, "push button", "Explore public demo")
        wait_for("the home screen", lambda: page(app, "Home"))
        wait_for("the market watch", lambda: find(page(app, "Home"), "list item", QUOTES[2][1]))
        for role, name in TABS:
            if find(app, role, name) is None:
                failures.append(f"tabs: no [{role}] {name!r}")
        check("home", page(app, "Home"))

        check("markets", visit(app, "Markets"))
        press(visit(app, "Trade", "Trade lab", lambda p: find(p, "heading", "Market snapshot")), "push button",
              "Calculate paper preview")
        wait_for("the preview", lambda: find(page(app, "Trade lab"), "label", r"Paper buy\n(.|\n)+"))
        check("trade", page(app, "Trade lab"))
        check("guest", visit(app, "Account"))

        # The owner signs in; the host's browser approves the portal at once.
        press(page(app, "Account"), "push button", "Sign in & connect app")
        wait_for("the match code", lambda: find(page(app, "Account"), "label", r"Match code: \S+"))
        press(page(app, "Account"), "push button", "Check connection / refresh account")
        wait_for("the owner's account", lambda: find(page(app, "Account"), "push button", "Sign out"))
        check("owner", page(app, "Account"))
    finally:
        app_process.terminate()
        app_process.wait(10)

    for failure in failures:
        print("FAIL:", failure)
    print("screen reader: %d screens checked, %d failures" % (len(SCREENS), len(failures)))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
