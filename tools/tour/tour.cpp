// kelvra-tour: renders every screen of the app, driven through its real window, its real stores
// and the local service, into PNG files. For the docs, and for a look where there is no desktop.
//
//   kelvra-tour OUTPUT_DIR [--origin URL] [--width W] [--height H] [--scheme light|dark]
//
// Without --origin it starts a local service of its own on a free loopback port. The owner's
// device authentication is taken as passed and the portal's approval is given as a browser
// would, so that the tour reaches the signed-in account. On a service of its own it then shows
// a failed load, the narrowest window and a load that never ends. With --scheme it stands in for the
// desktop portal, preferring that colour scheme; run it on a bus of its own (dbus-run-session).

#include "app/kelvrawindow.h"
#include "localservice.h"
#include "model/theme.h"
#include "owner/ownersession.h"
#include "standins.h"
#include "trade/tradescreen.h"

#include <QCommandLineParser>
#include <QCoroTask>
#include <QCoroTimer>
#include <QDir>
#include <QGuiApplication>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <optional>

using namespace std::chrono_literals;

namespace {

// The local service, with some paths made to fail or to hang, for the screens that show it.
class TourService : public LocalService
{
public:
    using LocalService::LocalService;

    QStringList failing;
    QStringList hanging;

protected:
    void serve(const QHttpServerRequest &request, QHttpServerResponder &&responder) override
    {
        const QString path = request.url().path();
        if (failing.contains(path))
            send(std::move(responder), error(503, QStringLiteral("Unavailable")));
        else if (hanging.contains(path))
            sendLater(std::move(responder), error(504, QStringLiteral("Late")), 1h);
        else
            LocalService::serve(request, std::move(responder));
    }
};

QQuickItem *find(QQuickItem *item, const QString &name)
{
    if (item->objectName() == name && item->isVisible())
        return item;
    for (QQuickItem *child : item->childItems()) {
        if (QQuickItem *found = find(child, name))
            return found;
    }
    return nullptr;
}

class Tour
{
public:
    Tour(QQuickWindow *window, Workspace *workspace, StandInOwner *owner, StandInBrowser *browser, QDir out,
         Theme *theme, std::optional<bool> dark, TourService *service)
        : m_window(window)
        , m_workspace(workspace)
        , m_owner(owner)
        , m_browser(browser)
        , m_out(std::move(out))
        , m_theme(theme)
        , m_dark(dark)
        , m_service(service)
    {}

    QCoro::Task<int> run()
    {
        co_await settle(1500ms);
        if (m_dark && m_theme->dark() != *m_dark) {
            std::fprintf(stderr, "kelvra-tour: the window did not take the colour scheme\n");
            co_return 1;
        }
        if (!shoot("welcome"))
            co_return 1;

        m_workspace->setEntered(true);
        co_await settle(400ms);
        shoot("home");

        m_workspace->showTab(Workspace::MarketsTab);
        if (QQuickItem *search = item("search"))
            search->setProperty("text", QStringLiteral("eth"));
        co_await settle(400ms);
        shoot("markets-search");
        if (QQuickItem *search = item("search"))
            search->setProperty("text", QString());

        m_workspace->showTab(Workspace::Trade);
        m_workspace->trade()->calculate();
        co_await settle(400ms);
        shoot("trade-lab");
        co_await pickerOpen();
        co_await tradeStates();

        // The owner signs in: the gate asks for the password, the sign-in waits with its code,
        // the portal is approved in the "browser", then a check.
        m_owner->queuePrompt(QStringLiteral("ada"));
        m_workspace->unlock();
        co_await settle(600ms);
        QQuickItem *answer = item(QStringLiteral("answer"));
        if (answer)
            answer->setProperty("text", QStringLiteral("secret"));
        co_await settle(200ms);
        shoot("owner-prompt");
        if (!answer || !QMetaObject::invokeMethod(answer, "accepted"))
            std::fprintf(stderr, "kelvra-tour: the owner was not asked\n");
        co_await settle(800ms);
        shoot("account-waiting");
        if (!co_await m_browser->approve())
            std::fprintf(stderr, "kelvra-tour: the portal did not take the approval\n");
        co_await m_workspace->session()->check();
        const QJsonArray history = m_workspace->session()->history();
        if (!history.isEmpty())
            co_await m_workspace->session()->verify(history.first().toObject().value("id").toString());
        co_await settle(500ms);
        shoot("account");
        if (QQuickItem *proof = item("proof"))
            scrollTo(proof);
        co_await settle(400ms);
        shoot("account-history");
        // An alert over the account, as when the owner's verification is refused.
        m_workspace->setMessage(QStringLiteral("Device verification was not completed."));
        co_await settle(400ms);
        shoot("alert");
        m_workspace->setMessage({});
        co_await settle(400ms);
        if (m_service)
            co_await faults();
        co_return m_failed ? 1 : 0;
    }

private:
    // Needs a service of the tour's own: a market feed that fails, the narrowest window, and a
    // vault whose reply never comes.
    QCoro::Task<> faults()
    {
        m_service->failing = {QStringLiteral("/market-data")};
        m_workspace->showTab(Workspace::MarketsTab);
        co_await m_workspace->reload(Workspace::MarketsTab);
        co_await settle(400ms);
        shoot("markets-failed");
        m_service->failing.clear();

        const QSize size = m_window->size();
        m_window->resize(m_window->minimumWidth(), size.height());
        m_workspace->showTab(Workspace::Home);
        co_await m_workspace->reload(Workspace::Home);
        co_await settle(600ms);
        shoot("home-narrow");
        m_window->resize(size);

        m_service->hanging = {QStringLiteral("/contest/status")};
        QCoro::connect(m_workspace->reload(Workspace::Home), m_window, [] {});
        co_await settle(600ms);
        shoot("home-busy");
    }

    // The same quote three minutes on, calculated: its age says it is no longer fresh. Then, on
    // a fresh quote, a fee out of range: the fee field is marked beside the preview's message.
    QCoro::Task<> tradeStates()
    {
        TradeScreen *trade = m_workspace->trade();
        trade->setClock([] { return QDateTime::currentDateTime().addSecs(180); });
        trade->calculate();
        co_await settle(400ms);
        shoot("trade-stale");
        trade->setClock({});
        const QString fee = trade->fee();
        trade->setFee(QStringLiteral("150"));
        trade->calculate();
        if (QQuickItem *field = item("fee"))
            scrollTo(field);
        co_await settle(400ms);
        shoot("trade-invalid");
        trade->setFee(fee);
        trade->calculate();
        if (QQuickItem *top = item("snapshotSection"))
            scrollTo(top);
    }

    // The asset picker's list, open over the form.
    QCoro::Task<> pickerOpen()
    {
        QQuickItem *picker = item("asset");
        QObject *popup = picker ? picker->property("popup").value<QObject *>() : nullptr;
        if (!popup)
            co_return;
        QMetaObject::invokeMethod(popup, "open");
        co_await settle(400ms);
        shoot("trade-picker");
        QMetaObject::invokeMethod(popup, "close");
        co_await settle(400ms);
    }

    QQuickItem *item(const QString &name) { return find(m_window->contentItem(), name); }

    void scrollTo(QQuickItem *target)
    {
        for (QQuickItem *p = target->parentItem(); p; p = p->parentItem()) {
            if (p->inherits("QQuickFlickable")) {
                const qreal y = target->mapToItem(p, QPointF()).y() + p->property("contentY").toReal();
                // A list's header lies above its origin, and its margins widen the range.
                const qreal least = p->property("originY").toReal() - p->property("topMargin").toReal();
                const qreal most =
                    std::max(least, p->property("originY").toReal() + p->property("contentHeight").toReal()
                                        + p->property("bottomMargin").toReal() - p->height());
                p->setProperty("contentY", std::clamp(y - p->height() / 3, least, most));
                return;
            }
        }
    }

    QCoro::Task<> settle(std::chrono::milliseconds wait)
    {
        QTimer timer;
        timer.start(wait);
        co_await timer;
    }

    bool shoot(const QString &name)
    {
        const QImage image = m_window->grabWindow();
        const QString path = m_out.filePath(name + QStringLiteral(".png"));
        if (image.isNull() || !image.save(path)) {
            std::fprintf(stderr, "kelvra-tour: could not write %s\n", qPrintable(path));
            m_failed = true;
            return false;
        }
        std::printf("%s\n", qPrintable(path));
        return true;
    }

    QQuickWindow *m_window;
    Workspace *m_workspace;
    StandInOwner *m_owner;
    StandInBrowser *m_browser;
    QDir m_out;
    Theme *m_theme;
    std::optional<bool> m_dark;
    TourService *m_service;
    bool m_failed = false;
};

} // namespace

int main(int argc, char *argv[])
{
    KelvraWindow::prepareProcess();
    QGuiApplication app(argc, argv);

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("output"), QStringLiteral("Folder for the PNG files."));
    parser.addOption(
        {QStringLiteral("origin"), QStringLiteral("A running service to use."), QStringLiteral("url")});
    parser.addOption({QStringLiteral("width"), QStringLiteral("Window width."), QStringLiteral("px"),
                      QStringLiteral("390")});
    parser.addOption({QStringLiteral("height"), QStringLiteral("Window height."), QStringLiteral("px"),
                      QStringLiteral("844")});
    parser.addOption({QStringLiteral("scheme"), QStringLiteral("The colour scheme the desktop prefers."),
                      QStringLiteral("light|dark")});
    parser.process(app);
    if (parser.positionalArguments().size() != 1)
        parser.showHelp(2);
    QDir out(parser.positionalArguments().first());
    if (!out.mkpath(QStringLiteral("."))) {
        std::fprintf(stderr, "kelvra-tour: cannot make %s\n", qPrintable(out.path()));
        return 2;
    }

    std::unique_ptr<TourService> service;
    QString origin = parser.value(QStringLiteral("origin"));
    if (origin.isEmpty()) {
        service = std::make_unique<TourService>(OwnerRecords(QDateTime::currentDateTimeUtc()), 15min);
        if (!service->start())
            return 2;
        origin = service->origin();
    }

    std::optional<bool> dark;
    std::unique_ptr<StandInPortal> portal;
    if (parser.isSet(QStringLiteral("scheme"))) {
        const QString scheme = parser.value(QStringLiteral("scheme"));
        if (scheme != u"light" && scheme != u"dark")
            parser.showHelp(2);
        dark = scheme == u"dark";
        portal = std::make_unique<StandInPortal>(*dark ? 1 : 2);
        if (!portal->registered()) {
            std::fprintf(stderr, "kelvra-tour: --scheme needs a session bus without a portal\n");
            return 2;
        }
    }

    StandInOwner owner;
    owner.setPassing(true);
    StandInBrowser browser;
    KelvraWindow kelvra(origin, Workspace::Platform{&owner, &browser});
    if (!kelvra.load())
        return 1;
    QQuickWindow *window = kelvra.window();
    window->resize(parser.value(QStringLiteral("width")).toInt(),
                   parser.value(QStringLiteral("height")).toInt());

    auto *theme = kelvra.engine().singletonInstance<Theme *>(qmlTypeId("Kelvra.Core", 1, 0, "Theme"));
    Tour tour(window, &kelvra.workspace(), &owner, &browser, out, theme, dark, service.get());
    int status = 1;
    QCoro::connect(tour.run(), &app, [&status](int result) {
        status = result;
        QCoreApplication::quit();
    });
    QGuiApplication::exec();
    return status;
}
