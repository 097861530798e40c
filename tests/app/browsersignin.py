# The owner's sign-in with a real browser: the app (browserhost) passes the unlock gate and opens
# the portal; headless Chromium loads that address, must show the app's match code, and presses
# a button; the app must then come to the state that button means. Loopback only.
#
#     browsersignin.py HOST

import re
import subprocess
import sys
import tempfile

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support import expected_conditions as EC
from selenium.webdriver.support.ui import WebDriverWait

REFUSED = "Unable to verify session or refresh account. Retry when online."
# The button pressed, the portal's answer, the app's status, and the account it shows.
RUNS = [
    ("Approve", "Sign-in approved", r"Owner connected · read-only until .+", r"0x[0-9a-f]{40}"),
    ("Deny", "Sign-in denied", re.escape(REFUSED), None),
]


def browser(profile):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for flag in ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                 "--disable-background-networking", "--disable-component-update", "--disable-sync",
                 f"--user-data-dir={profile}",
                 # Any name but the loopback address resolves to nothing.
                 "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1"]:
        options.add_argument(flag)
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def line(host, key):
    # The host's next line, which must start with `key`; the host gives up on its own.
    text = host.stdout.readline().rstrip("\n")
    if not text.startswith(key + " "):
        raise SystemExit(f"FAIL: expected {key!r} from the app, got {text!r} (exit {host.poll()})")
    return text[len(key) + 1:]


def sign_in(host_path, driver, button, answer, status, account):
    with subprocess.Popen([host_path], stdout=subprocess.PIPE, stdin=subprocess.PIPE, text=True) as host:
        try:
            steps(host, driver, button, answer, status, account)
        except BaseException:
            host.kill()
            raise


def steps(host, driver, button, answer, status, account):
    portal = line(host, "portal")
    shown = line(host, "code")
    driver.get(portal)
    WebDriverWait(driver, 30).until(EC.title_is("Approve a device sign-in · Kelvra"))
    code = driver.find_element(By.CSS_SELECTOR, ".code").text
    if shown != f"Match code: {code}" or not code:
        raise SystemExit(f"FAIL: the app shows {shown!r}, the portal {code!r}")
    driver.find_element(By.XPATH, f"//button[.='{button}']").click()
    WebDriverWait(driver, 30).until(EC.title_is(f"{answer} · Kelvra"))
    got = line(host, "status")
    if not re.fullmatch(status, got):
        raise SystemExit(f"FAIL: after {button}, the app's status is {got!r}")
    if account:
        if not re.fullmatch(account, line(host, "account")):
            raise SystemExit(f"FAIL: after {button}, no owner account shown")
        # The portal, asked again, knows that the app has claimed what the browser approved.
        driver.get(portal)
        WebDriverWait(driver, 30).until(EC.title_is("Sign-in complete · Kelvra"))
    host.stdin.close()
    rest = host.stdout.read()
    if host.wait() != 0 or rest:
        raise SystemExit(f"FAIL: after {button}, the app exited {host.returncode} with {rest!r}")


def main():
    with tempfile.TemporaryDirectory() as profile:
        driver = browser(profile)
        try:
            for run in RUNS:
                sign_in(sys.argv[1], driver, *run)
                print(f"PASS: {run[0]}")
        finally:
            driver.quit()


main()
