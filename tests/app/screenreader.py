# What a screen reader finds in the window, read over the accessibility bus (AT-SPI).
#
# Starts the host (the real window on the local service), walks the tree of each screen, checks
# that everything shown has a role and a name and that every control and every text that carries
# data is there by role and name, and moves from screen to screen only through the accessibility
# interface's Press action, as a screen reader's user would.
#
#     screenreader.py HOST    (on a display 3600 pixels high, with the accessibility bus on;
#                              see screenreader.sh)

import contextlib
import os
import re
import subprocess
import sys

import pyatspi
from gi.repository import GLib

# Roles that only group others may go without a name.
CONTAINERS = {"frame", "page tab list", "panel", "filler", "scroll pane", "dialog"}

# What must be on each screen, as "role: name pattern", the page's name first: what Tab does not
# reach, and a control of each kind by its role (the keyboard test names each control Tab reaches).
QUOTES = [rf"list item: {n}, {s}, .+, [+-]\d+\.\d\d% · 24h" for n, s in
          [("Bitcoin", "BTC"), ("Ethereum", "ETH"), ("Solana", "SOL")]]
SCREENS = {
    "welcome": ["Welcome", "image: Kelvra", "heading: Your agent.\nYour limits.",
                "push button: Owner sign-in"],
    "home": ["Home", "heading: Overview", "heading: Market watch", *QUOTES,
             "link: Public competition evidence"],
    "markets": ["Markets", "heading: Markets", "text: Find an asset", *QUOTES],
    "trade": ["Trade lab", "panel: Side", "radio button: Buy", "radio button: Sell", "combo box: Asset",
              "heading: Market snapshot"],
    "guest": ["Account", "label: Guest demo · no owner session", "link: Try guided demo"],
    "waiting": ["Account", r"label: Match code: \S+", "image: QR code of the approval address"],
    "owner": ["Account", "label: Owner connected · read-only until .+", r"heading: \S+ kUSD · \S+",
              "link: View on explorer"],
}

# The walk from the welcome screen on: the control pressed, then the page and what it shows once
# ready, and the screen then checked.
WALK = [
    ("push button: Explore public demo", "Home", QUOTES[2], "home"),
    ("page tab: Markets", "Markets", QUOTES[2], "markets"),
    ("page tab: Trade", "Trade lab", "heading: Market snapshot", None),
    ("push button: Calculate paper preview", "Trade lab", r"label: Paper buy\n(.|\n)+", "trade"),
    ("page tab: Account", "Account", "heading: Account", "guest"),
    # The owner signs in; the host's browser approves the portal at once.
    ("push button: Sign in & connect app", "Account", r"label: Match code: \S+", "waiting"),
    ("push button: Check connection / refresh account", "Account", "push button: Sign out", "owner"),
]

WHOSE = "The password of “ada”, your account on this computer. Not a Kelvra password."

failures = []


def visible(node):
    # The node and everything under it that is on screen.
    if node is None or not node.getState().contains(pyatspi.STATE_VISIBLE):
        return []
    return [node] + [n for child in node for n in visible(child)]


def matches(node, entry):
    role, _, pattern = entry.partition(": ")
    return node.getRoleName() == role and re.fullmatch(pattern, node.name or "") is not None


def find(root, entry):
    return next((n for n in visible(root) if matches(n, entry)), None)


def application():
    return next((a for a in pyatspi.Registry.getDesktop(0) if a is not None and a.name == "Kelvra"), None)


def page(name):
    entry = "page tab: " + re.escape(name)
    return next((n for n in visible(application()) if matches(n, entry) and n.childCount > 0), None)


def check(screen):
    # Everything shown has a role and a name; every item the screen names is there.
    name, *expected = SCREENS[screen]
    nodes = visible(page(name))
    for node in nodes:
        role = node.getRoleName()
        if role == "unknown" or (not node.name and role not in CONTAINERS):
            failures.append(f"{screen}: a [{role}] without a name: {node.description!r}")
    failures.extend(f"{screen}: no {e!r}" for e in expected if not any(matches(n, e) for n in nodes))


def press(root, entry):
    # Presses a control through its accessible Press action.
    node = find(root, entry)
    if node is None:
        raise SystemExit(f"FAIL: nothing to press: {entry!r}")
    action = node.queryAction()
    action.doAction([action.getName(i) for i in range(action.nActions)].index("Press"))


def wait_for(what, condition, seconds=10):
    # Runs the bus's events until `condition()` holds, looking again after each: every change of
    # the tree comes as one. The tree may change under a walk.
    expired = []
    timer = GLib.timeout_add_seconds(seconds, lambda: expired.append(True))
    while not expired:
        with contextlib.suppress(Exception):
            if condition():
                GLib.source_remove(timer)
                return
        GLib.MainContext.default().iteration(True)
    raise SystemExit(f"FAIL: {what}")


def main(host):
    shown = []  # (now shown, role, name) of each item as it shows or hides
    def showing(event):
        with contextlib.suppress(Exception):  # an item may be gone by the time it is asked
            shown.append((event.detail1, event.source.getRoleName(), event.source.name))
    pyatspi.Registry.registerEventListener(showing, "object:state-changed:showing")
    # Any other change of the tree only wakes wait_for().
    pyatspi.Registry.registerEventListener(lambda event: None, "object:children-changed", "window:create")
    env = dict(os.environ, QT_QPA_PLATFORM="xcb", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
    # Only what lies in the window's view is on the bus: a window tall enough for whole screens.
    app_process = subprocess.Popen([host, "480", "3600"], env=env)
    try:
        wait_for("the welcome screen", lambda: page("Welcome"), 20)
        check("welcome")

        # The device asks for the computer account's password: the dialog is named by its reason,
        # says whose password it is, and is read in order; cancelled, the alert is announced.
        press(application(), "push button: Owner sign-in")
        wait_for("the password dialog", lambda: find(application(), "dialog: .+"))
        dialog = find(application(), "dialog: .+")
        if dialog.description != WHOSE:
            failures.append(f"the password dialog describes itself as {dialog.description!r}")
        # Qt 6.4 withholds a password field's own name; the question before it carries it.
        order = [f"label: {dialog.name}", "label: " + WHOSE, "label: Password for ada", "password text: ",
                 "push button: Cancel", "push button: OK"]
        read = []
        with contextlib.suppress(SystemExit):  # the order, once all of it is there
            wait_for("the password dialog's items", lambda: read.clear() or read.extend(
                f"{n.getRoleName()}: {n.name}" for n in visible(dialog)[1:]) or len(read) >= len(order))
        if read != order:
            failures.append(f"the password dialog reads {read!r}")
        press(dialog, "push button: Cancel")
        text = "Device verification was not completed."
        wait_for("the alert announced", lambda: (1, "alert", text) in shown)
        if find(find(application(), "dialog: Kelvra"), "alert: " + re.escape(text)) is None:
            failures.append("the alert is not a dialog 'Kelvra' holding its text")
        press(application(), "push button: OK")
        wait_for("the alert dismissed", lambda: find(application(), "dialog: Kelvra") is None)

        for control, name, ready, screen in WALK:
            press(application(), control)
            wait_for(f"{ready!r} on the {name} screen", lambda: find(page(name), ready))
            if screen:
                check(screen)
    finally:
        app_process.terminate()
        app_process.wait(10)

    for failure in failures:
        print("FAIL:", failure)
    print("screen reader: %d screens checked, %d failures" % (len(SCREENS), len(failures)))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
