#pragma once

#include "model/quote.h"
#include "trade/snapshotrows.h"

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <optional>

class Markets;

// The trade lab's one presenter: what the user typed, the quote of the chosen asset with its
// snapshot rows and age, and the last paper preview. The preview changes only when calculate()
// runs; editing the inputs or a new snapshot leaves it as it was.
class TradeScreen : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("TradeScreen belongs to the Workspace")
    Q_PROPERTY(QString asset READ asset WRITE setAsset NOTIFY assetChanged)
    // The asset's place in assetNames, -1 for a pair outside the catalogue.
    Q_PROPERTY(int assetIndex READ assetIndex WRITE setAssetIndex NOTIFY assetChanged)
    // The asset picker's choices: the catalogue's names, in its order.
    Q_PROPERTY(QStringList assetNames READ assetNames CONSTANT)
    Q_PROPERTY(QString size READ size WRITE setSize NOTIFY sizeChanged)
    Q_PROPERTY(QString side READ side WRITE setSide NOTIFY sideChanged)
    Q_PROPERTY(QString fee READ fee WRITE setFee NOTIFY feeChanged)
    Q_PROPERTY(QString slippage READ slippage WRITE setSlippage NOTIFY slippageChanged)
    Q_PROPERTY(QString preview READ preview NOTIFY previewChanged)
    // The input the last calculation found out of range ("size", "fee", "slippage"), until it is
    // edited; empty otherwise. The preview says what is wrong; this only tells which field.
    Q_PROPERTY(QString invalidField READ invalidField NOTIFY invalidFieldChanged)
    // The market snapshot section; the row values are empty while there is no quote.
    Q_PROPERTY(bool hasQuote READ hasQuote NOTIFY snapshotChanged)
    Q_PROPERTY(QString lastTrade READ lastTrade NOTIFY snapshotChanged)
    Q_PROPERTY(QString change READ change NOTIFY snapshotChanged)
    Q_PROPERTY(QString lowHigh READ lowHigh NOTIFY snapshotChanged)
    Q_PROPERTY(QString bidAsk READ bidAsk NOTIFY snapshotChanged)
    Q_PROPERTY(QString spread READ spread NOTIFY snapshotChanged)
    Q_PROPERTY(QString volume READ volume NOTIFY snapshotChanged)
    Q_PROPERTY(QString quoteTime READ quoteTime NOTIFY snapshotChanged)
    // Whether the trade lab is on screen. The quote's age is kept current only then: off screen a
    // minute's tick would wake the program for a text nobody sees.
    Q_PROPERTY(bool shown READ shown WRITE setShown NOTIFY shownChanged)
    // How old the quote is, kept current while it shows; empty while there is no quote.
    Q_PROPERTY(QString quoteAge READ quoteAge NOTIFY quoteAgeChanged)
    Q_PROPERTY(bool quoteFresh READ quoteFresh NOTIFY quoteFreshChanged)

public:
    using Clock = std::function<QDateTime()>;

    // `market` is the store the quotes come from; it must outlive the screen.
    explicit TradeScreen(Markets *market, QObject *parent = nullptr);

    const QString &asset() const { return m_asset; }
    int assetIndex() const;
    static QStringList assetNames();
    const QString &size() const { return m_size; }
    const QString &side() const { return m_side; }
    const QString &fee() const { return m_fee; }
    const QString &slippage() const { return m_slippage; }
    const QString &preview() const { return m_preview; }
    const QString &invalidField() const { return m_invalidField; }
    void setAsset(const QString &asset);
    void setAssetIndex(int index);
    void setSize(const QString &size);
    void setSide(const QString &side);
    void setFee(const QString &fee);
    void setSlippage(const QString &slippage);

    // The first quote of the market's snapshot whose pair is `asset`.
    const std::optional<Quote> &q() const { return m_quote; }

    bool hasQuote() const { return m_quote.has_value(); }
    const QString &lastTrade() const { return m_rows.lastTrade; }
    const QString &change() const { return m_rows.change; }
    const QString &lowHigh() const { return m_rows.lowHigh; }
    const QString &bidAsk() const { return m_rows.bidAsk; }
    const QString &spread() const { return m_rows.spread; }
    const QString &volume() const { return m_rows.volume; }
    const QString &quoteTime() const { return m_rows.time; }
    const QString &quoteAge() const { return m_age; }
    bool quoteFresh() const { return m_fresh; }
    bool shown() const { return m_shown; }
    void setShown(bool shown);

    // Prices the order against q() at the current time and shows the outcome in `preview`.
    Q_INVOKABLE void calculate();
    // Loads a new market snapshot; a load under way already is not doubled.
    Q_INVOKABLE void refresh();

    // Where calculate() and the quote's age read the time; tests set a fixed one. An empty clock
    // is the wall clock.
    void setClock(Clock clock);

signals:
    void assetChanged();
    void sizeChanged();
    void sideChanged();
    void feeChanged();
    void slippageChanged();
    void previewChanged();
    void invalidFieldChanged();
    void snapshotChanged();
    void quoteAgeChanged();
    void quoteFreshChanged();
    void shownChanged();

private:
    // Takes the chosen asset's quote from the store and, when it changed, its rows.
    void followQuote();
    void updateAge();
    // Editing the field the last calculation found out of range takes its mark away.
    void edited(const char *field);
    QDateTime now() const;

    QPointer<Markets> m_market;
    QString m_asset = QStringLiteral("BTC-USD");
    QString m_size = QStringLiteral("100");
    QString m_side = QStringLiteral("Buy");
    QString m_fee = QStringLiteral("0.1");
    QString m_slippage = QStringLiteral("0.5");
    QString m_preview = QStringLiteral("Choose an asset and review the assumptions.");
    QString m_invalidField;
    std::optional<Quote> m_quote;
    SnapshotRows m_rows;
    QString m_age;
    bool m_fresh = false;
    bool m_shown = false;
    QTimer m_ageTimer;
    Clock m_clock;
};
