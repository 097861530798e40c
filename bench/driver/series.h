#pragma once

#include <QList>
#include <QString>

#include <algorithm>

// Readings of one figure over several fresh processes.
struct Series
{
    QList<double> values;

    bool empty() const { return values.isEmpty(); }
    void add(double v) { values.append(v); }

    double median() const
    {
        if (values.isEmpty())
            return 0;
        QList<double> sorted = values;
        std::sort(sorted.begin(), sorted.end());
        const qsizetype n = sorted.size();
        return n % 2 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
    }
    double min() const { return values.isEmpty() ? 0 : *std::min_element(values.begin(), values.end()); }
    double max() const { return values.isEmpty() ? 0 : *std::max_element(values.begin(), values.end()); }

    // "12.3 (11.9–13.0)" with `decimals` places, or "—" without readings.
    QString text(int decimals = 1) const
    {
        if (values.isEmpty())
            return QStringLiteral("—");
        return QStringLiteral("%1 (%2–%3)")
            .arg(median(), 0, 'f', decimals)
            .arg(min(), 0, 'f', decimals)
            .arg(max(), 0, 'f', decimals);
    }
};
