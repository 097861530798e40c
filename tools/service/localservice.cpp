#include "localservice.h"

#include "pages.h"
#include "randomtext.h"
#include "requestparts.h"

#include <QDateTime>
#include <QJsonObject>

using Method = QHttpServerRequest::Method;

namespace {

QByteArray methodName(Method method)
{
    return method == Method::Post ? QByteArrayLiteral("POST") : QByteArrayLiteral("GET");
}

LoopbackHttp::Answer forgedText()
{
    return LoopbackHttp::error(403,
                               QStringLiteral("the form's token is missing or wrong; post it from its page"));
}

// The vault: 25 kUSD, of which the agent may still spend 1.5 kUSD.
const QString vaultBalanceUnits = QStringLiteral("25000000");
const QString agentBudgetUnits = QStringLiteral("1500000");

PortalView portalView(DeviceSignIns::State state)
{
    switch (state) {
    case DeviceSignIns::State::Pending:
        break;
    case DeviceSignIns::State::Approved:
        return PortalView::Approved;
    case DeviceSignIns::State::Denied:
        return PortalView::Denied;
    case DeviceSignIns::State::Claimed:
        return PortalView::Claimed;
    }
    return PortalView::Waiting;
}

} // namespace

LocalService::LocalService(OwnerRecords records, std::chrono::milliseconds tokenLifetime,
                           QObject *parent)
    : LoopbackHttp(parent)
    , m_routes{
          {QStringLiteral("/"), Method::Get, false, &LocalService::home},
          {QStringLiteral("/index.html"), Method::Get, false, &LocalService::home},
          {QStringLiteral("/demo.html"), Method::Get, false, &LocalService::demo},
          {QStringLiteral("/competition.html"), Method::Get, false, &LocalService::competition},
          {QStringLiteral("/market-data"), Method::Get, false, &LocalService::marketData},
          {QStringLiteral("/contest/status"), Method::Get, false, &LocalService::contestStatus},
          {QStringLiteral("/contest/permission"), Method::Post, false,
           &LocalService::setPermission},
          {QStringLiteral("/device/start"), Method::Post, false, &LocalService::startSignIn},
          {QStringLiteral("/device/claim"), Method::Post, false, &LocalService::claimSignIn},
          {QStringLiteral("/portal/"), Method::Get, false, &LocalService::portal},
          {QStringLiteral("/portal/"), Method::Post, false, &LocalService::decide},
          {QStringLiteral("/device/status"), Method::Get, true, &LocalService::sessionStatus},
          {QStringLiteral("/device/logout"), Method::Post, true, &LocalService::logout},
          {QStringLiteral("/api/account"), Method::Get, true, &LocalService::account},
          {QStringLiteral("/api/history"), Method::Get, true, &LocalService::history},
          {QStringLiteral("/api/receipt/"), Method::Get, true, &LocalService::receipt},
      }
    , m_records(std::move(records))
    , m_sessions(tokenLifetime)
    , m_demoToken(randomHex(16))
{
    setBodyLimit(bodyLimit);
    setConnectionLimits(connectionLimit, idleLimit);
}

void LocalService::serve(const QHttpServerRequest &request, QHttpServerResponder &&responder)
{
    Answer answer = dispatch(request);
    if (request.method() == Method::Head)
        answer.body.clear();
    send(std::move(responder), answer);
}

LoopbackHttp::Answer LocalService::dispatch(const QHttpServerRequest &request)
{
    const auto origin = requestOrigin(request, port());
    if (const Answer *refusal = std::get_if<Answer>(&origin))
        return *refusal;

    const QString path = request.url().path(QUrl::FullyEncoded);
    QByteArrayList allowed;
    for (const Route &route : m_routes) {
        const bool prefix = route.path.size() > 1 && route.path.endsWith(u'/');
        if (prefix ? !path.startsWith(route.path) : path != route.path)
            continue;
        if (route.method != request.method()) {
            allowed.append(methodName(route.method));
            continue;
        }
        if (route.bearer) {
            const std::optional<QString> token = bearerToken(request);
            if (!token || !m_sessions.valid(*token, clock())) {
                Answer refusal = error(401, QStringLiteral("no live session for this token"));
                refusal.headers.emplaceBack("WWW-Authenticate", "Bearer");
                return refusal;
            }
        }
        const Call call{request, std::get<QString>(origin), prefix ? path.mid(route.path.size()) : QString(),
                        clock()};
        return (this->*route.handler)(call);
    }
    if (allowed.isEmpty())
        return error(404, QStringLiteral("no such path"));
    Answer refusal = error(405, QStringLiteral("method not allowed here"));
    refusal.headers.emplaceBack("Allow", allowed.join(", "));
    return refusal;
}

LoopbackHttp::Answer LocalService::home(const Call &)
{
    return html(homePage());
}

LoopbackHttp::Answer LocalService::demo(const Call &)
{
    return html(demoPage(m_agentActive, m_demoToken));
}

LoopbackHttp::Answer LocalService::competition(const Call &)
{
    return html(competitionPage());
}

LoopbackHttp::Answer LocalService::marketData(const Call &)
{
    return json(m_market.next(QDateTime::currentDateTimeUtc()));
}

LoopbackHttp::Answer LocalService::contestStatus(const Call &)
{
    return json(QJsonObject{{QStringLiteral("balanceUnits"), vaultBalanceUnits},
                            {QStringLiteral("agentBudgetUnits"), agentBudgetUnits},
                            {QStringLiteral("active"), m_agentActive}});
}

LoopbackHttp::Answer LocalService::setPermission(const Call &call)
{
    const auto active = formField(call.request, QStringLiteral("active"));
    if (const Answer *refusal = std::get_if<Answer>(&active))
        return *refusal;
    const QString &value = std::get<QString>(active);
    if (value != QLatin1String("true") && value != QLatin1String("false"))
        return error(400, QStringLiteral("\"active\" must be true or false"));
    if (const auto refusal = forged(call, m_demoToken))
        return *refusal;
    m_agentActive = value == QLatin1String("true");
    // Back to the demo page, as a browser expects after a form.
    Answer answer = json(QJsonObject{{QStringLiteral("active"), m_agentActive}}, 303);
    answer.headers.emplaceBack("Location", "/demo.html");
    return answer;
}

LoopbackHttp::Answer LocalService::startSignIn(const Call &call)
{
    const auto body = jsonBody(call.request);
    if (const Answer *refusal = std::get_if<Answer>(&body))
        return *refusal;
    const auto challenge = textField(std::get<QJsonObject>(body), QStringLiteral("challenge"));
    if (const Answer *refusal = std::get_if<Answer>(&challenge))
        return *refusal;
    if (!DeviceSignIns::isHexDigest(std::get<QString>(challenge)))
        return error(400, QStringLiteral("\"challenge\" must be 64 lower-case hexadecimal digits"));

    const auto started = m_signIns.start(std::get<QString>(challenge), call.now);
    if (!started)
        return error(429, QStringLiteral("too many sign-ins are waiting; try again later"));
    return json(
        QJsonObject{{QStringLiteral("id"), started->id},
                    {QStringLiteral("code"), started->code},
                    {QStringLiteral("approvalUrl"), call.origin + QStringLiteral("/portal/") + started->id}});
}

LoopbackHttp::Answer LocalService::claimSignIn(const Call &call)
{
    const auto body = jsonBody(call.request);
    if (const Answer *refusal = std::get_if<Answer>(&body))
        return *refusal;
    const QJsonObject &object = std::get<QJsonObject>(body);
    const auto id = textField(object, QStringLiteral("id"));
    if (const Answer *refusal = std::get_if<Answer>(&id))
        return *refusal;
    const auto verifier = textField(object, QStringLiteral("verifier"));
    if (const Answer *refusal = std::get_if<Answer>(&verifier))
        return *refusal;

    switch (m_signIns.claim(std::get<QString>(id), std::get<QString>(verifier), call.now)) {
    case DeviceSignIns::Claim::Unknown:
        return error(404, QStringLiteral("no such sign-in, or it has lapsed"));
    case DeviceSignIns::Claim::WrongVerifier:
        return error(403, QStringLiteral("the verifier does not match the challenge"));
    case DeviceSignIns::Claim::Denied:
        return error(403, QStringLiteral("the owner denied this sign-in"));
    case DeviceSignIns::Claim::AlreadyClaimed:
        return error(409, QStringLiteral("this sign-in has been claimed already"));
    case DeviceSignIns::Claim::Pending:
        return json(QJsonObject{{QStringLiteral("pending"), true}});
    case DeviceSignIns::Claim::Granted:
        break;
    }
    const Sessions::Issued issued = m_sessions.issue(call.now);
    Answer answer = json(QJsonObject{{QStringLiteral("token"), issued.token},
                                     {QStringLiteral("expires"), double(issued.expires)}});
    answer.headers.emplaceBack("Cache-Control", "no-store");
    return answer;
}

LoopbackHttp::Answer LocalService::portal(const Call &call)
{
    const auto state = m_signIns.state(call.tail, call.now);
    if (!state)
        return error(404, QStringLiteral("no such sign-in, or it has lapsed"));
    return html(portalPage(call.tail, m_signIns.code(call.tail, call.now).value_or(QString()),
                           m_signIns.formToken(call.tail, call.now).value_or(QString()), portalView(*state)));
}

LoopbackHttp::Answer LocalService::decide(const Call &call)
{
    const auto decision = formField(call.request, QStringLiteral("decision"));
    if (const Answer *refusal = std::get_if<Answer>(&decision))
        return *refusal;
    const QString &value = std::get<QString>(decision);
    if (value != QLatin1String("approve") && value != QLatin1String("deny"))
        return error(400, QStringLiteral("\"decision\" must be approve or deny"));
    const bool approve = value == QLatin1String("approve");
    if (const auto refusal = crossSite(call.request, call.origin))
        return *refusal;
    const auto token = formField(call.request, QStringLiteral("token"));
    const QString *sent = std::get_if<QString>(&token);
    switch (m_signIns.decide(call.tail, approve, sent ? *sent : QString(), call.now)) {
    case DeviceSignIns::Decision::Unknown:
        return error(404, QStringLiteral("no such sign-in, or it has lapsed"));
    case DeviceSignIns::Decision::Forged:
        return forgedText();
    case DeviceSignIns::Decision::AlreadyDecided:
        return error(409, QStringLiteral("this sign-in has been decided already"));
    case DeviceSignIns::Decision::Done:
        break;
    }
    return html(portalPage(call.tail, {}, {}, approve ? PortalView::Approved : PortalView::Denied));
}

LoopbackHttp::Answer LocalService::sessionStatus(const Call &)
{
    return json(QJsonObject{{QStringLiteral("authenticated"), true}});
}

LoopbackHttp::Answer LocalService::logout(const Call &call)
{
    // The body carries nothing, but what is sent must still be well formed.
    if (!call.request.body().isEmpty()) {
        const auto body = jsonBody(call.request);
        if (const Answer *refusal = std::get_if<Answer>(&body))
            return *refusal;
    }
    m_sessions.end(bearerToken(call.request).value_or(QString()), call.now);
    return json(QJsonObject{{QStringLiteral("signedOut"), true}});
}

LoopbackHttp::Answer LocalService::account(const Call &)
{
    return json(m_records.account());
}

LoopbackHttp::Answer LocalService::history(const Call &)
{
    return Answer{200, m_records.history()};
}

LoopbackHttp::Answer LocalService::receipt(const Call &call)
{
    const auto receipt = m_records.receipt(call.tail);
    if (!receipt)
        return error(404, QStringLiteral("no payment with this id"));
    return json(*receipt);
}

std::optional<LoopbackHttp::Answer> LocalService::forged(const Call &call, const QString &expected)
{
    if (auto refusal = crossSite(call.request, call.origin))
        return refusal;
    const auto token = formField(call.request, QStringLiteral("token"));
    const QString *sent = std::get_if<QString>(&token);
    if (!sent || !sameSecret(sent->toLatin1(), expected.toLatin1()))
        return forgedText();
    return std::nullopt;
}

LoopbackHttp::Answer LocalService::html(const QByteArray &page, int status)
{
    Answer answer{status, page, "text/html; charset=utf-8"};
    // The portal's buttons must not be clickable from inside another site's frame.
    answer.headers.emplaceBack("Content-Security-Policy",
                               "default-src 'none'; style-src 'unsafe-inline'; form-action 'self'; "
                               "frame-ancestors 'none'");
    answer.headers.emplaceBack("X-Frame-Options", "DENY");
    // The portal's address names its sign-in, so it never leaves for another site; "no-referrer"
    // would also make a browser send "Origin: null" with the page's own forms, which are refused.
    answer.headers.emplaceBack("Referrer-Policy", "same-origin");
    answer.headers.emplaceBack("Cache-Control", "no-store");
    return answer;
}
