#pragma once

#include <QMetaType>
#include <QString>

#include <span>

// One trading pair of the market snapshot. A plain value: the fields are set once, by the
// constructor, and only read afterwards. Fallbacks for missing wire fields belong to the parser.
class Quote
{
    Q_GADGET
    Q_PROPERTY(QString pair READ pair CONSTANT)
    Q_PROPERTY(double price READ price CONSTANT)
    Q_PROPERTY(double change READ change CONSTANT)
    Q_PROPERTY(double high READ high CONSTANT)
    Q_PROPERTY(double low READ low CONSTANT)
    Q_PROPERTY(double volume READ volume CONSTANT)
    Q_PROPERTY(double bid READ bid CONSTANT)
    Q_PROPERTY(double ask READ ask CONSTANT)
    Q_PROPERTY(QString time READ time CONSTANT)
    Q_PROPERTY(QString id READ id CONSTANT)
    Q_PROPERTY(QString name READ name CONSTANT)
    Q_PROPERTY(QString symbol READ symbol CONSTANT)

public:
    Quote() = default;
    Quote(QString pair, double price, double change, double high, double low, double volume, double bid,
          double ask, QString time);

    const QString &pair() const { return m_pair; }
    double price() const { return m_price; }
    double change() const { return m_change; }
    double high() const { return m_high; }
    double low() const { return m_low; }
    double volume() const { return m_volume; }
    double bid() const { return m_bid; }
    double ask() const { return m_ask; }
    const QString &time() const { return m_time; }

    // Identity wherever quotes are listed: two quotes of one pair are the same item.
    const QString &id() const { return m_pair; }
    // Display name from the asset catalogue, or the pair itself when the catalogue lacks it.
    QString name() const;
    // The base asset: the text before the first "-".
    QString symbol() const;

    friend bool operator==(const Quote &, const Quote &) = default;

private:
    QString m_pair;
    double m_price = 0;
    double m_change = 0;
    double m_high = 0;
    double m_low = 0;
    double m_volume = 0;
    double m_bid = 0;
    double m_ask = 0;
    QString m_time;
};

Q_DECLARE_METATYPE(Quote)

// One asset of the catalogue: its pair code and the name shown for it.
struct Asset
{
    QStringView pair;
    QStringView name;
};

// The assets the app knows by name, in the order the trade lab offers them.
std::span<const Asset> assetCatalogue();
