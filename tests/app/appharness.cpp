#include "appharness.h"

#include "ownersession.h"
#include "scriptedownerauthenticator.h"
#include "tradescreen.h"
#include "vaultbalance.h"

#include <QAccessible>
#include <QKeySequence>
#include <QNetworkReply>
#include <QQuickItem>
#include <QTest>
#include <QtQuickTest/quicktest.h>

namespace {

void collect(QQuickItem *item, const QString &name, QList<QQuickItem *> &found)
{
    if (item->objectName() == name && item->isVisible())
        found.append(item);
    for (QQuickItem *child : item->childItems())
        collect(child, name, found);
}

QQuickItem *flickableAround(QQuickItem *item)
{
    for (QQuickItem *p = item->parentItem(); p; p = p->parentItem()) {
        if (p->inherits("QQuickFlickable"))
            return p;
    }
    return nullptr;
}

QJsonObject quote(const QString &pair, double price, double bid, double ask)
{
    return {{"pair", pair},
            {"price", price},
            {"change", 1.234},
            {"high", 66000},
            {"low", 64000},
            {"volume", 1234.5678},
            {"bid", bid},
            {"ask", ask},
            {"time", QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)}};
}

} // namespace

void RecordingOpener::open(const QUrl &url)
{
    opened.append(url);
    if (approving && url.path().startsWith(u"/portal/")) {
        QNetworkRequest request(url);
        request.setHeader(QNetworkRequest::ContentTypeHeader, "application/x-www-form-urlencoded");
        QNetworkReply *reply = m_browser.post(request, QByteArray("decision=approve"));
        QObject::connect(reply, &QNetworkReply::finished, reply, [this, reply] {
            approved += reply->error() == QNetworkReply::NoError;
            reply->deleteLater();
        });
    }
}

QJsonObject snapshot()
{
    return {
        {"quotes", QJsonArray{quote("BTC-USD", 65000, 64990, 65010), quote("ETH-USD", 3000, 2999.5, 3000.5),
                              quote("SOL-USD", 150, 149.9, 150.1)}}};
}

void scriptOwner(TestService &service, const QJsonArray &history)
{
    service.onJson(
        "/device/start",
        QJsonObject{{"id", "s1"}, {"code", "K7Q2"}, {"approvalUrl", service.origin() + "/portal/s1"}});
    const double expires = double(QDateTime::currentMSecsSinceEpoch() + 600000);
    service.onJson("/device/claim", QJsonObject{{"token", "t0k"}, {"expires", expires}});
    service.onJson("/device/status", QJsonObject{{"authenticated", true}});
    service.onJson("/api/account",
                   QJsonObject{{"owner", "0xowner"}, {"nativeBalance", 0.5}, {"tokenBalance", "12.5"}});
    service.onJson("/api/history", history);
    service.onJson("/device/logout", QJsonObject{});
}

AppHarness::AppHarness(std::chrono::milliseconds checkPeriod, QString origin)
    : authenticator(std::make_unique<ScriptedOwnerAuthenticator>())
{
    Workspace::Platform platform;
    platform.authenticator = authenticator.get();
    platform.opener = &opener;
    platform.checkPeriod = checkPeriod;
    workspace = std::make_unique<Workspace>(origin.isEmpty() ? service.origin() : origin, platform);
}

AppHarness::~AppHarness()
{
    engine.reset();
    workspace.reset();
}

bool AppHarness::show()
{
    engine = std::make_unique<QQmlApplicationEngine>();
    engine->setInitialProperties({{QStringLiteral("workspace"), QVariant::fromValue(workspace.get())}});
    engine->load(QUrl(QStringLiteral("qrc:/Kelvra/Main.qml")));
    if (engine->rootObjects().isEmpty())
        return false;
    return QTest::qWaitForWindowExposed(window());
}

QQuickWindow *AppHarness::window() const
{
    return engine && !engine->rootObjects().isEmpty()
               ? qobject_cast<QQuickWindow *>(engine->rootObjects().first())
               : nullptr;
}

QList<QQuickItem *> AppHarness::items(const QString &objectName) const
{
    QList<QQuickItem *> found;
    if (QQuickWindow *w = window())
        collect(w->contentItem()->parentItem() ? w->contentItem()->parentItem() : w->contentItem(),
                objectName, found);
    return found;
}

QQuickItem *AppHarness::item(const QString &objectName) const
{
    const auto found = items(objectName);
    return found.isEmpty() ? nullptr : found.first();
}

bool AppHarness::click(QQuickItem *item)
{
    // Geometry is only current once the layouts have settled what last changed.
    if (!item || !QQuickTest::qWaitForPolish(window()) || !item->isVisible() || !item->isEnabled())
        return false;
    const auto centre = [item] {
        return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
    };
    const auto shown = [&] { return QRect(QPoint(), window()->size()).contains(centre()); };
    QQuickItem *flickable = flickableAround(item);
    // Brings the item to the middle of the viewport, again and again: a slow machine (a
    // sanitizer build) lays the view out late, and a scroll made too early falls short.
    const auto scroll = [&] {
        if (flickable) {
            const qreal inView = item->mapToItem(flickable, QPointF(0, item->height() / 2)).y();
            const qreal contentY = flickable->property("contentY").toReal();
            // A list's header lies above its origin, and its margins widen the range.
            const qreal originY = flickable->property("originY").toReal();
            const qreal minY = originY - flickable->property("topMargin").toReal();
            const qreal maxY =
                std::max(minY, originY + flickable->property("contentHeight").toReal()
                                   + flickable->property("bottomMargin").toReal() - flickable->height());
            flickable->setProperty("contentY",
                                   std::clamp(contentY + inView - flickable->height() / 2, minY, maxY));
        }
        return shown();
    };
    if (!QTest::qWaitFor(scroll, 3000))
        return false;
    // Let the view settle, and make sure it settled with the item still in the window.
    QTest::qWait(20);
    if (!QTest::qWaitFor(scroll, 2000))
        return false;
    QTest::mouseClick(window(), Qt::LeftButton, Qt::NoModifier, centre());
    return true;
}

bool AppHarness::type(const QString &objectName, const QString &text)
{
    QQuickItem *field = item(objectName);
    if (!field || !click(field))
        return false;
    // Select everything and delete it, as a user clears a field.
    QTest::keyClick(window(), Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(window(), Qt::Key_Backspace);
    for (const QChar c : text)
        QTest::keyClick(window(), c.toLatin1());
    return field->property("text").toString() == text;
}

QString AppHarness::text(const QString &objectName) const
{
    QQuickItem *found = item(objectName);
    return found ? found->property("text").toString() : QString();
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
    scriptOwner(app.service,
                {QJsonObject{{"id", "p1"},
                             {"recipient", "0xrecipient"},
                             {"hash", "0xh"},
                             {"reason", "Market data for BTC-USD, ETH-USD and SOL-USD, one hour"}}});
    if (!app.show() || !QTest::qWaitForWindowActive(app.window()))
        return false;
    // No request of the start-up loads is counted as one of the test's.
    if (!QTest::qWaitFor([&] {
            return app.workspace->trade()->hasQuote()
                   && !app.workspace->balance()->property("status").toString().startsWith(u"Loading");
        }))
        return false;
    if (screen == OnWelcome)
        return true;
    app.workspace->setEntered(true);
    app.workspace->setSelectedTab(std::min<int>(screen, OnAccount));
    if (screen == AsOwner) {
        QCoro::waitFor(app.workspace->session()->start());
        QCoro::waitFor(app.workspace->session()->check());
    }
    return QTest::qWaitFor([&] { return app.item("tabs") != nullptr; });
}
