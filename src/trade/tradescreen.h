#pragma once

#include "model/quote.h"
#include "trade/snapshotrows.h"

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <optional>

class Markets;

// The trade lab's state: what the user typed, the quote of the chosen asset and the last paper
// preview. The preview changes only when calculate() runs; editing the inputs or a new
// snapshot leaves it as it was.
class TradeScreen : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("TradeScreen belongs to the Workspace")
    Q_PROPERTY(QString asset READ asset WRITE setAsset NOTIFY assetChanged)
    Q_PROPERTY(QString size READ size WRITE setSize NOTIFY sizeChanged)
    Q_PROPERTY(QString side READ side WRITE setSide NOTIFY sideChanged)
    Q_PROPERTY(QString fee READ fee WRITE setFee NOTIFY feeChanged)
    Q_PROPERTY(QString slippage READ slippage WRITE setSlippage NOTIFY slippageChanged)
    Q_PROPERTY(QString preview READ preview WRITE setPreview NOTIFY previewChanged)
    // The market snapshot section; the row values are empty while there is no quote.
    Q_PROPERTY(bool hasQuote READ hasQuote NOTIFY snapshotChanged)
    Q_PROPERTY(QString lastTrade READ lastTrade NOTIFY snapshotChanged)
    Q_PROPERTY(QString change READ change NOTIFY snapshotChanged)
    Q_PROPERTY(QString lowHigh READ lowHigh NOTIFY snapshotChanged)
    Q_PROPERTY(QString bidAsk READ bidAsk NOTIFY snapshotChanged)
    Q_PROPERTY(QString spread READ spread NOTIFY snapshotChanged)
    Q_PROPERTY(QString volume READ volume NOTIFY snapshotChanged)
    Q_PROPERTY(QString quoteTime READ quoteTime NOTIFY snapshotChanged)
    // The asset picker's choices, in order: maps with "name" (shown) and "value" (the pair).
    Q_PROPERTY(QVariantList assetOptions READ assetOptions CONSTANT)

public:
    using Clock = std::function<QDateTime()>;

    // `market` is the store the quotes come from; it must outlive the screen.
    explicit TradeScreen(Markets *market, QObject *parent = nullptr);

    const QString &asset() const { return m_asset; }
    const QString &size() const { return m_size; }
    const QString &side() const { return m_side; }
    const QString &fee() const { return m_fee; }
    const QString &slippage() const { return m_slippage; }
    const QString &preview() const { return m_preview; }
    void setAsset(const QString &asset);
    void setSize(const QString &size);
    void setSide(const QString &side);
    void setFee(const QString &fee);
    void setSlippage(const QString &slippage);
    void setPreview(const QString &preview);

    // The first quote of the market's snapshot whose pair is `asset`, looked up at every read.
    std::optional<Quote> q() const;

    bool hasQuote() const { return q().has_value(); }
    QString lastTrade() const { return row(&SnapshotRows::lastTrade); }
    QString change() const { return row(&SnapshotRows::change); }
    QString lowHigh() const { return row(&SnapshotRows::lowHigh); }
    QString bidAsk() const { return row(&SnapshotRows::bidAsk); }
    QString spread() const { return row(&SnapshotRows::spread); }
    QString volume() const { return row(&SnapshotRows::volume); }
    QString quoteTime() const { return row(&SnapshotRows::time); }

    static QVariantList assetOptions();

    // Prices the order against q() at the current time and shows the outcome in `preview`.
    Q_INVOKABLE void calculate();

    // Where calculate() reads the time; tests set a fixed one. An empty clock is the wall clock.
    void setClock(Clock clock);

signals:
    void assetChanged();
    void sizeChanged();
    void sideChanged();
    void feeChanged();
    void slippageChanged();
    void previewChanged();
    void snapshotChanged();

private:
    QString row(QString SnapshotRows::*field) const;

    QPointer<Markets> m_market;
    QString m_asset = QStringLiteral("BTC-USD");
    QString m_size = QStringLiteral("100");
    QString m_side = QStringLiteral("Buy");
    QString m_fee = QStringLiteral("0.1");
    QString m_slippage = QStringLiteral("0.5");
    QString m_preview = QStringLiteral("Choose an asset and review the assumptions.");
    Clock m_clock;
};
