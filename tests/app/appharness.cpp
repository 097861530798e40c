#include "appharness.h"

#include "owner/ownersession.h"
#include "vault/vaultbalance.h"

#include <QAccessible>
#include <QKeySequence>
#include <QTest>
#include <QtQuickTest/quicktest.h>

QJsonObject snapshot()
{
    const QString now = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    QJsonArray quotes;
    for (const auto &[pair, price] :
         {std::pair{"BTC-USD", 65000.0}, {"ETH-USD", 3000.0}, {"SOL-USD", 150.0}}) {
        const double half = price / 6500; // half the spread: $10 on BTC-USD
        const QJsonObject quote{{"pair", pair},        {"price", price},      {"change", 1.234},
                                {"high", 66000},       {"low", 64000},        {"volume", 1234.5678},
                                {"bid", price - half}, {"ask", price + half}, {"time", now}};
        quotes.append(quote);
    }
    return {{"quotes", quotes}};
}

void scriptOwner(TestService &service, const QJsonArray &history, std::chrono::milliseconds startDelay)
{
    const QJsonObject started{
        {"id", "s1"}, {"code", "K7Q2"}, {"approvalUrl", service.origin() + "/portal/s1"}};
    service.on("/device/start", LoopbackHttp::json(started), startDelay);
    const double expires = double(QDateTime::currentMSecsSinceEpoch() + 600000);
    service.onJson("/device/claim", QJsonObject{{"token", "t0k"}, {"expires", expires}});
    service.onJson("/device/status", QJsonObject{{"authenticated", true}});
    service.onJson("/api/account",
                   QJsonObject{{"owner", "0xowner"}, {"nativeBalance", 0.5}, {"tokenBalance", "12.5"}});
    service.onJson("/api/history", history);
    service.onJson("/api/receipt/p1", QJsonObject{{"explanation", "A"}, {"limitation", "B"}});
    service.onJson("/device/logout", QJsonObject{});
}

AppHarness::AppHarness(std::chrono::milliseconds checkPeriod, QString origin)
    : authenticator(std::make_unique<StandInOwner>())
    , kelvra(std::make_unique<KelvraWindow>(origin.isEmpty() ? service.origin() : origin,
                                            Workspace::Platform{.authenticator = authenticator.get(),
                                                                .opener = &opener,
                                                                .checkPeriod = checkPeriod}))
    , workspace(&kelvra->workspace())
{}

AppHarness::~AppHarness()
{
    kelvra.reset();
    // Requests still in flight end with their stores, and their waiting operations resume from
    // the event loop: let it turn, as the program's would, so that none of them is left behind.
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

bool AppHarness::show()
{
    return kelvra->load() && QTest::qWaitForWindowExposed(window());
}

QList<QQuickItem *> AppHarness::items(const QString &objectName) const
{
    // Depth first, in the order of the visual tree.
    QList<QQuickItem *> found, pending;
    if (window())
        pending.append(window()->contentItem());
    while (!pending.isEmpty()) {
        QQuickItem *item = pending.takeFirst();
        if (item->objectName() == objectName && item->isVisible())
            found.append(item);
        pending = item->childItems() + pending;
    }
    return found;
}

bool AppHarness::click(QQuickItem *item)
{
    // Geometry is only current once the layouts have settled what last changed.
    if (!item || !QQuickTest::qWaitForPolish(window()) || !item->isVisible() || !item->isEnabled())
        return false;
    const auto centre = [item] {
        return item->mapToScene(QPointF(item->width(), item->height()) / 2).toPoint();
    };
    QQuickItem *flickable = item->parentItem();
    while (flickable && !flickable->inherits("QQuickFlickable"))
        flickable = flickable->parentItem();
    const auto at = [flickable](const char *name) { return flickable->property(name).toReal(); };
    // Brings the item to the middle of the viewport, again and again: a slow machine (a
    // sanitizer build) lays the view out late, and a scroll made too early falls short.
    const auto scroll = [&] {
        if (flickable) {
            const qreal inView = item->mapToItem(flickable, QPointF(0, item->height() / 2)).y();
            // A list's header lies above its origin, and its margins widen the range.
            const qreal minY = at("originY") - at("topMargin");
            const qreal maxY = std::max(minY, at("originY") + at("contentHeight") + at("bottomMargin")
                                                  - flickable->height());
            flickable->setProperty("contentY",
                                   std::clamp(at("contentY") + inView - flickable->height() / 2, minY, maxY));
        }
        return QRect(QPoint(), window()->size()).contains(centre());
    };
    // Settled: once the layouts have done what the scroll moved, the item is still in the window
    // and the view no longer has to move for it.
    const auto settled = [&] {
        if (!scroll() || !QQuickTest::qWaitForPolish(window()))
            return false;
        const qreal y = flickable ? at("contentY") : 0;
        return scroll() && (!flickable || qFuzzyCompare(1 + at("contentY"), 1 + y));
    };
    if (!QTest::qWaitFor(settled))
        return false;
    QTest::mouseClick(window(), Qt::LeftButton, Qt::NoModifier, centre());
    return true;
}

QString AppHarness::text(const QString &objectName) const
{
    QQuickItem *found = item(objectName);
    return found ? found->property("text").toString() : QString();
}

bool AppHarness::type(const QString &objectName, const QString &text)
{
    QQuickItem *field = item(objectName);
    if (!click(field))
        return false;
    keys("Ctrl+A, Backspace"); // as a user clears a field
    for (const QChar c : text)
        QTest::keyClick(window(), c.toLatin1());
    return field->property("text").toString() == text;
}

QString AppHarness::focused() const
{
    // Controls take their accessible names from their texts once accessibility is on.
    QAccessible::setActive(true);
    QQuickItem *item = window() ? window()->activeFocusItem() : nullptr;
    QAccessibleInterface *face = item ? QAccessible::queryAccessibleInterface(item) : nullptr;
    return face ? face->text(QAccessible::Name) : QString();
}

void AppHarness::keys(const QString &sequence)
{
    const QKeySequence keys(sequence);
    for (int i = 0; i < keys.count(); ++i)
        QTest::keyClick(window(), keys[i].key(), keys[i].keyboardModifiers());
}

bool AppHarness::tabTo(const QString &name)
{
    for (int i = 0; i < 40 && focused() != name; ++i)
        QTest::keyClick(window(), Qt::Key_Tab);
    return focused() == name;
}

bool openScreen(AppHarness &app, int screen)
{
    app.service.onJson("/market-data", snapshot());
    app.service.onJson(
        "/contest/status",
        QJsonObject{{"balanceUnits", "25000000"}, {"agentBudgetUnits", "1500000"}, {"active", true}});
    const QJsonObject paid{{"id", "p1"},
                           {"recipient", "0xrecipient"},
                           {"hash", "0xh"},
                           {"reason", "Market data for BTC-USD, ETH-USD and SOL-USD, one hour"}};
    scriptOwner(app.service, {paid});
    Workspace *w = app.workspace;
    // No request of the start-up loads is counted as one of the test's: the vault's comes last.
    const auto loaded = [w] { return !w->balance()->status().startsWith(u"Loading"); };
    if (!app.show() || !QTest::qWaitForWindowActive(app.window()) || !QTest::qWaitFor(loaded))
        return false;
    if (screen == OnWelcome)
        return true;
    w->setEntered(true);
    w->showTab(std::min<int>(screen, OnAccount));
    if (screen == AsOwner) {
        QCoro::waitFor(w->session()->start());
        QCoro::waitFor(w->session()->check());
    }
    return QTest::qWaitFor([&] { return app.item("tabs") != nullptr; });
}
