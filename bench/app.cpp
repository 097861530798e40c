// kelvra-bench-app: the app as its entry starts it (the same attributes, style, workspace and
// window as src/app/main.cpp), with a probe, for the bench driver.
//
//   kelvra-bench-app SCENARIO ORIGIN [CHECK_PERIOD_MS CHECKS]
//
// GCC 12 resumes a garbage frame after `if (!co_await ...)` in some coroutines here: awaited
// results are kept in locals before they are tested.
//
// Scenarios: first-frame, quotes, tour, history, idle, leaks (see bench/README.md). The ones
// that sign in take the person at the keyboard as the owner and approve the portal as a browser
// would; the others use the desktop's own browser, as the app does, and an owner stand-in that
// is never asked (only the program links the PAM library).

#include "app/kelvrawindow.h"
#include "app/urlopener.h"
#include "owner/ownersession.h"
#include "probe.h"
#include "standins.h"
#include "trade/tradescreen.h"

#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>

#include <QCoroTask>

#include <cstdio>
#include <cstdlib>
#include <memory>

using namespace std::chrono_literals;
using probe::pause;
using probe::until;

namespace {

class Bench
{
public:
    Bench(QString scenario, Workspace *workspace, StandInBrowser *browser, QQuickWindow *window, int checks,
          const probe::ReplyWatch *quotes)
        : m_scenario(std::move(scenario))
        , m_workspace(workspace)
        , m_browser(browser)
        , m_window(window)
        , m_frames(window)
        , m_checks(checks)
        , m_quotes(quotes)
    {}

    QCoro::Task<int> run()
    {
        if (m_scenario == QLatin1String("quotes"))
            m_frames.arm(
                [this] { return probe::countVisible(content(), QStringLiteral("homeQuoteRow"), true) >= 3; });
        const bool drawn = co_await until([this] { return m_frames.firstFrameAt() >= 0; }, 30s);
        if (!drawn)
            co_return 1;
        probe::report("first-frame-ms", m_frames.firstFrameAt());

        if (m_scenario == QLatin1String("first-frame"))
            co_return 0;
        if (m_scenario == QLatin1String("quotes")) {
            const bool shown = co_await until([this] { return m_frames.shownAt() >= 0; }, 10s);
            if (!shown)
                co_return 1;
            probe::report("quotes-after-first-frame-ms", m_frames.shownAt() - m_frames.firstFrameAt());
            // Where the time went: the snapshot's reply, counted from the start like the frames.
            probe::report("quotes-reply-ms", m_quotes->lastCompleteAt());
            co_return 0;
        }
        const int result = co_await signedInScenario();
        co_return result;
    }

private:
    // Not a coroutine: GCC 12 mixes up the frames of several `co_return co_await` branches.
    QCoro::Task<int> signedInScenario()
    {
        if (m_scenario == QLatin1String("tour"))
            return tour();
        if (m_scenario == QLatin1String("history"))
            return history();
        if (m_scenario == QLatin1String("idle"))
            return idle();
        if (m_scenario == QLatin1String("leaks"))
            return leaks();
        return unknown();
    }

    static QCoro::Task<int> unknown() { co_return 2; }

    QQuickItem *content() const { return m_window->contentItem(); }

    // Until the screen has shown a change: the next frame, and a little more for late layouts.
    QCoro::Task<> settle()
    {
        const int before = m_frames.swaps();
        co_await until([this, before] { return m_frames.swaps() > before; }, 2s);
        co_await pause(150ms);
    }

    // The gate, the portal approved in the "browser", then the check that connects.
    QCoro::Task<bool> signIn()
    {
        m_workspace->unlock();
        const bool opened = co_await until([this] { return !m_browser->opened.isEmpty(); }, 30s);
        const bool approved = opened && co_await m_browser->approve();
        if (!approved) {
            std::fprintf(stderr, "kelvra-bench-app: the portal was not %s\n", opened ? "approved" : "opened");
            co_return false;
        }
        co_await m_workspace->session()->check();
        if (!m_workspace->session()->connected()) {
            std::fprintf(stderr, "kelvra-bench-app: not connected: %s\n",
                         qPrintable(m_workspace->session()->status()));
        }
        co_return m_workspace->session()->connected();
    }

    bool historyShown() const
    {
        return m_workspace->session()->connected()
               && probe::countVisible(content(), QStringLiteral("headline"), false) >= 1;
    }

    // Every tab, a calculation, a sign-in and the account with its history.
    QCoro::Task<int> tour()
    {
        m_workspace->setEntered(true);
        co_await settle();
        m_workspace->showTab(Workspace::MarketsTab);
        co_await settle();
        m_workspace->showTab(Workspace::Trade);
        m_workspace->trade()->calculate();
        co_await settle();
        m_workspace->showTab(Workspace::Account);
        co_await settle();
        m_frames.arm([this] { return historyShown(); });
        const bool signedIn = co_await signIn();
        const bool shown = signedIn && co_await until([this] { return m_frames.shownAt() >= 0; }, 5s);
        if (!shown)
            co_return 1;
        co_await settle();
        probe::report("peak-rss-kib", double(probe::statusKiB("VmHWM")));
        co_return 0;
    }

    // The account's history arrives at its largest: from the reply's end to the frame with it.
    QCoro::Task<int> history()
    {
        m_workspace->setEntered(true);
        m_workspace->showTab(Workspace::Account);
        co_await settle();
        OwnerSession *session = m_workspace->session();
        probe::SocketWatch sockets;
        qApp->installEventFilter(&sockets);
        // The history is the check's last request: the socket event in which it ended is the
        // latest before the rows are stored.
        double ended = -1;
        double stored = -1;
        QObject::connect(session, &OwnerSession::historyChanged, &sockets, [&] {
            if (stored < 0) {
                stored = probe::sinceStart();
                ended = sockets.lastEventAt();
            }
        });
        m_frames.arm([this] { return historyShown(); });
        // Under callgrind (--instr-atstart=no) only the checks and the history's frame count.
        QObject::connect(session, &OwnerSession::checkingChanged, &sockets, [session] {
            if (session->checking())
                probe::profile(true);
        });
        m_frames.onShown([] { probe::profile(false); });
        const bool signedIn = co_await signIn();
        const bool shown = signedIn && co_await until([this] { return m_frames.shownAt() >= 0; }, 10s);
        qApp->removeEventFilter(&sockets);
        if (!shown || ended < 0)
            co_return 1;
        probe::report("rows", double(session->history().size()));
        probe::report("history-frame-ms", m_frames.shownAt() - ended);
        // Where the time went: to the rows in the session, to the frame's synchronisation (the
        // GUI thread's part), to the swap (the render thread's).
        probe::report("history-stored-ms", stored - ended);
        probe::report("history-sync-ms", m_frames.shownSyncAt() - ended);
        probe::report("history-reply-at-ms", ended);
        co_await settle();
        probe::report("peak-rss-kib", double(probe::statusKiB("VmHWM")));
        co_return 0;
    }

    // Signed in, the window open on the account; the driver measures, then ends the process.
    QCoro::Task<int> idle()
    {
        m_workspace->setEntered(true);
        m_workspace->showTab(Workspace::Account);
        co_await settle();
        const bool signedIn = co_await signIn();
        if (!signedIn)
            co_return 1;
        co_await settle();
        co_await pause(1s);
        // Each check as it begins and ends, for the driver to tell its wake-ups from any other.
        QObject marks;
        OwnerSession *session = m_workspace->session();
        QObject::connect(session, &OwnerSession::checkingChanged, &marks,
                         [session] { probe::report(session->checking() ? "check-begins" : "check-ends"); });
        probe::report("ready");
        co_await pause(std::chrono::hours(24));
        co_return 0;
    }

    // The periodic check, shortened, over and over: memory after the 10th and the last.
    QCoro::Task<int> leaks()
    {
        m_workspace->setEntered(true);
        m_workspace->showTab(Workspace::Account);
        co_await settle();
        OwnerSession *session = m_workspace->session();
        int checks = 0;
        QObject guard;
        QObject::connect(session, &OwnerSession::checkingChanged, &guard,
                         [session, &checks] { checks += session->checking() ? 0 : 1; });
        bool ok = co_await signIn();
        double tenth = 0;
        for (const int mark : {10, m_checks}) {
            const auto timeout = std::chrono::milliseconds(qint64(mark) * 200) + 10s;
            const bool reached = ok && co_await until([&checks, mark] { return checks >= mark; }, timeout);
            ok = reached;
            if (ok) {
                probe::report(mark == 10 ? "rss-after-10-kib" : "rss-after-all-kib",
                              double(probe::statusKiB("VmRSS")));
            }
            if (mark == 10)
                tenth = probe::sinceStart();
        }
        // Longer than the period: the checks piled up on one another.
        probe::report("ms-per-check", (probe::sinceStart() - tenth) / std::max(1, m_checks - 10));
        probe::report("checks", double(checks));
        co_return ok ? 0 : 1;
    }

    QString m_scenario;
    Workspace *m_workspace;
    StandInBrowser *m_browser;
    QQuickWindow *m_window;
    probe::FrameWatch m_frames;
    int m_checks;
    const probe::ReplyWatch *m_quotes;
};

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: kelvra-bench-app SCENARIO ORIGIN [CHECK_PERIOD_MS CHECKS]\n");
        return 2;
    }
    const QString scenario = QString::fromLocal8Bit(argv[1]);
    const QString origin = QString::fromLocal8Bit(argv[2]);
    const int period = argc > 3 ? std::atoi(argv[3]) : 30000;
    const int checks = argc > 4 ? std::atoi(argv[4]) : 1000;
    const bool standIns = scenario != QLatin1String("first-frame") && scenario != QLatin1String("quotes");

    // From here on, what main() does, in the same order.
    KelvraWindow::prepareProcess();
    QGuiApplication app(argc, argv);

    DesktopUrlOpener desktop;
    StandInOwner passing;
    passing.setPassing(standIns);
    StandInBrowser browser;
    Workspace::Platform platform{&passing, &desktop};
    if (standIns)
        platform = Workspace::Platform{&passing, &browser};
    platform.checkPeriod = std::chrono::milliseconds(period);
    KelvraWindow kelvra(origin, platform);
    Workspace &workspace = kelvra.workspace();
    // The quotes are on the Home tab: as if the user had gone straight in.
    if (scenario == QLatin1String("quotes"))
        workspace.setEntered(true);

    // Sees the snapshot's reply; it only looks, and only in this scenario.
    probe::ReplyWatch quotes(QStringLiteral("/market-data"));
    if (scenario == QLatin1String("quotes"))
        app.installEventFilter(&quotes);

    const double loading = probe::sinceStart();
    if (!kelvra.load())
        return 1;
    // Where the start-up goes: before the window is built, and building it.
    probe::report("before-load-ms", loading);
    probe::report("load-ms", probe::sinceStart() - loading);
    QQuickWindow *window = kelvra.window();

    Bench bench(scenario, &workspace, &browser, window, checks, &quotes);
    int status = 1;
    QCoro::connect(bench.run(), &app, [&status](int result) {
        status = result;
        QCoreApplication::quit();
    });
    QGuiApplication::exec();
    return status;
}
