#include "ownerclient.h"
#include "quiet.h"
#include "testservice.h"

#include <QCoroTask>
#include <QJsonDocument>
#include <QTest>

namespace {

// One line per client outcome, so a table can name what it expects.
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

} // namespace

class TestOwnerClient : public QObject
{
    Q_OBJECT

    TestService service;

private slots:
    void init() { failOnAnyWarning(); }

    void client_data()
    {
        QTest::addColumn<int>("status"); // 0: nobody listens
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("expected");
        const QByteArray typed = R"({"a":[1,"x"],"b":false,"f":1.5,"o":{"k":true},"s":"1","z":null})";
        const QString bad = "badServerResponse";
        QTest::newRow("200 object, types kept") << 200 << typed << "ok " + QString::fromUtf8(typed);
        QTest::newRow("202 like 200") << 202 << QByteArray(R"({"a":1})") << R"(ok {"a":1})";
        for (const int status : {201, 204, 302, 500})
            QTest::addRow("%d", status) << status << QByteArray("{}") << bad;
        QTest::newRow("401") << 401 << QByteArray("{}") << "userAuthenticationRequired";
        QTest::newRow("objects wrapped") << 200 << QByteArray(R"([{"a":1}])") << R"(ok {"rows":[{"a":1}]})";
        QTest::newRow("object then number") << 200 << QByteArray(R"([{"a":1},2])") << bad;
        QTest::newRow("empty body") << 200 << QByteArray() << "parse";
        QTest::newRow("bare number") << 200 << QByteArray("42") << "parse";
        QTest::newRow("one byte below the limit")
            << 200 << padded(131071) << "ok " + QString::fromUtf8(padded(131071));
        QTest::newRow("at the limit") << 200 << padded(131072) << bad;
        QTest::newRow("far past the limit") << 200 << padded(4 << 20) << bad;
        // The size test comes before the 401 test: nothing is forgotten.
        QTest::newRow("oversized 401") << 401 << padded(131072) << bad;
        QTest::newRow("refused") << 0 << QByteArray()
                                 << "transport " + QString::number(QNetworkReply::ConnectionRefusedError);
    }

    void client()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, expected);
        service.on("/r", {status, body, "application/json", {{"Location", "/moved"}}});
        service.on("/moved", {200, "{}"});
        OwnerClient client(Service{status ? service.origin() : QStringLiteral("http://127.0.0.1:1")});
        QCOMPARE(describe(QCoro::waitFor(client.send("/r", std::nullopt, {}))), expected);
        QCOMPARE(service.count("/moved"), 0);
    }
};

QTEST_GUILESS_MAIN(TestOwnerClient)
#include "tst_ownerclient.moc"
