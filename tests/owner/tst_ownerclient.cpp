#include "ownerclient.h"
#include "quiet.h"
#include "testservice.h"

#include <QCoroTask>
#include <QJsonDocument>
#include <QTest>

using Answer = TestService::Answer;

class TestOwnerClient : public QObject
{
    Q_OBJECT

    TestService service;

private slots:
    void init() { failOnAnyWarning(); }

    void client_data()
    {
        QTest::addColumn<Answer>("answer");
        QTest::addColumn<QByteArray>("taken"); // the object taken in, or the error
        const QByteArray typed = R"({"a":[1,"x"],"b":false,"f":1.5,"o":{"k":true},"s":"1","z":null})";
        const QByteArray limit = QByteArray("{}").leftJustified(131072); // valid JSON
        addRow("202, types kept", Answer{202, typed}, typed);
        for (const int status : {201, 204, 302, 500})
            QTest::addRow("%d", status) << Answer{status, "{}"} << QByteArray("error");
        // An array of objects comes as {"rows": [...]}; anything else in it is refused.
        addRow("object then number", Answer{200, R"([{"a":1},2])"}, QByteArray("error"));
        addRow("one byte below the limit", Answer{200, limit.chopped(1)}, QByteArray("{}"));
        addRow("at the limit", Answer{200, limit}, QByteArray("error"));
        // The size test comes before the 401 test, so an oversized 401 does not end the session.
        addRow("oversized 401", Answer{401, limit}, QByteArray("error"));
    }

    void client()
    {
        QFETCH(Answer, answer);
        QFETCH(QByteArray, taken);
        service.on("/r", answer);
        OwnerClient client(Service{service.origin()});
        const RequestResult result = QCoro::waitFor(client.send("/r", std::nullopt, {}));
        QByteArray got = failedWith(result, SessionError::userAuthenticationRequired) ? "401" : "error";
        if (const auto *object = std::get_if<QJsonObject>(&result))
            got = QJsonDocument(*object).toJson(QJsonDocument::Compact);
        QCOMPARE(got, taken);
    }
};

QTEST_GUILESS_MAIN(TestOwnerClient)
#include "tst_ownerclient.moc"
