#pragma once

#include "model/quote.h"

#include <QString>

// The values of the trade lab's market snapshot rows for one quote. Only the last trade and
// the time follow the region settings; every other figure has a full stop and no grouping.
struct SnapshotRows
{
    QString lastTrade; // region currency form, US dollars
    QString change;    // +1.23%
    QString lowHigh;   // $64000.00 / $66000.00
    QString bidAsk;    // $64990.00 / $65010.00
    QString spread;    // 0.031%, never negative
    QString volume;    // 1234.57 BTC
    QString time;      // region date and time, or "Unavailable"

    friend bool operator==(const SnapshotRows &, const SnapshotRows &) = default;
};

SnapshotRows snapshotRows(const Quote &quote);
