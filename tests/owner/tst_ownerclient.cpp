#include "ownerclient.h"
#include "quiet.h"
#include "testservice.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

namespace {

// One line per outcome, so a table can name what it expects.
QString describe(const RequestResult &result)
{
    if (const auto *object = std::get_if<QJsonObject>(&result))
        return "ok " + QString::fromUtf8(QJsonDocument(*object).toJson(QJsonDocument::Compact));
    const RequestError &error = std::get<RequestError>(result);
    if (const auto *code = std::get_if<SessionError>(&error))
        return QStringList{"badServerResponse", "userAuthenticationRequired", "badUrl"}.at(int(*code));
    if (const auto *network = std::get_if<QNetworkReply::NetworkError>(&error))
        return "transport " + QString::number(*network);
    return "parse";
}

// Valid JSON of exactly `size` bytes.
QByteArray padded(qsizetype size)
{
    return R"({"p":")" + QByteArray(size - 8, 'x') + R"("})";
}

QString ok(const QByteArray &json)
{
    return "ok " + QString::fromUtf8(json);
}

} // namespace

class TestOwnerClient : public QObject
{
    Q_OBJECT

    TestService service;

private slots:
    void init() { failOnAnyWarning(); }

    void outcome_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("expected");

        const QByteArray typed = R"({"a":[1,"x"],"b":false,"f":1.5,"n":1,"o":{"k":true},"s":"1","z":null})";
        QTest::newRow("200 object, types kept") << 200 << typed << ok(typed);
        QTest::newRow("202 like 200") << 202 << QByteArray(R"({"a":1})") << R"(ok {"a":1})";
        QTest::newRow("201") << 201 << QByteArray("{}") << "badServerResponse";
        QTest::newRow("204") << 204 << QByteArray() << "badServerResponse";
        QTest::newRow("302 not followed") << 302 << QByteArray("{}") << "badServerResponse";
        QTest::newRow("404") << 404 << QByteArray("{}") << "badServerResponse";
        QTest::newRow("500") << 500 << QByteArray("{}") << "badServerResponse";
        QTest::newRow("401") << 401 << QByteArray("{}") << "userAuthenticationRequired";
        QTest::newRow("empty array wrapped") << 200 << QByteArray("[]") << R"(ok {"rows":[]})";
        QTest::newRow("objects wrapped") << 200 << QByteArray(R"([{"a":1}])") << R"(ok {"rows":[{"a":1}]})";
        QTest::newRow("array of numbers") << 200 << QByteArray("[1]") << "badServerResponse";
        QTest::newRow("object then number") << 200 << QByteArray(R"([{"a":1},2])") << "badServerResponse";
        QTest::newRow("empty body") << 200 << QByteArray() << "parse";
        QTest::newRow("bare number") << 200 << QByteArray("42") << "parse";
        QTest::newRow("bare string") << 200 << QByteArray(R"("x")") << "parse";
        QTest::newRow("html") << 200 << QByteArray("<html></html>") << "parse";
        QTest::newRow("one byte below the limit") << 200 << padded(131071) << ok(padded(131071));
        QTest::newRow("at the limit") << 200 << padded(131072) << "badServerResponse";
        QTest::newRow("far past the limit") << 200 << padded(4 << 20) << "badServerResponse";
        // The size test comes before the 401 test: nothing is forgotten.
        QTest::newRow("oversized 401") << 401 << padded(131072) << "badServerResponse";
    }

    void outcome()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, expected);
        service.on("/r", {status, body, "application/json", {{"Location", "/moved"}}});
        service.on("/moved", {200, "{}"});

        OwnerClient client(Service{service.origin()});
        QCOMPARE(describe(QCoro::waitFor(client.send("/r", std::nullopt, {}))), expected);
        QCOMPARE(service.count("/moved"), 0);
    }

    void transportErrorPassesThrough()
    {
        OwnerClient refused(Service{QStringLiteral("http://127.0.0.1:1")});
        QCOMPARE(describe(QCoro::waitFor(refused.send("/x", Fields{}, "t"))),
                 "transport " + QString::number(QNetworkReply::ConnectionRefusedError));
    }
};

QTEST_GUILESS_MAIN(TestOwnerClient)
#include "tst_ownerclient.moc"
