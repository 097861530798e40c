#pragma once

#include "series.h"

#include <QString>

#include <chrono>

// Where the programs are and how much to measure.
struct Setup
{
    QString app;     // kelvra-bench-app
    QString bare;    // kelvra-bench-bare
    QString service; // kelvra-service
    QString self;    // this program, for the round trip in a fresh process
    QString wire;    // kelvra-bench-wire
    QString chromium;
    int runs = 5;
    int idleRuns = 3;
    std::chrono::seconds idle{60};
    int leakRuns = 3;
    int checks = 1000;
    int checkPeriodMs = 50;
};

// Every reading of one run of the bench.
struct Readings
{
    Series appFirstFrame, bareFirstFrame; // ms from exec
    Series quotesAfterFirst, roundTrip;   // ms
    Series appPeakKiB, barePeakKiB, chromiumPeakKiB;
    Series historyFrame, bareChangeFrame; // ms
    Series historyRows, historyPeakKiB;
    Series appIdleCpuMs, bareIdleCpuMs; // over Setup::idle
    Series appIdleWakes, bareIdleWakes; // voluntary context switches over Setup::idle
    Series appIdlePreempted;            // involuntary ones
    // The app's wake-ups in the quarter seconds in which a check began or ended (and the one
    // after), per check; and in all the others.
    Series appWakesPerCheck, appWakesOutsideChecks;
    Series bareDriftKiB; // RSS change of the bare window over Setup::idle
    Series leakKiB, leakChecks, msPerCheck;
    // The app drawn through OpenGL, as where a graphics device can be opened (without one it
    // draws with Qt Quick's own renderer): the first frame, the history's frame, the tour's peak.
    Series glFirstFrame, glHistoryFrame, glPeakKiB;
    Series faultGap;          // ms, the longest the event loop stood still in the fault plays
    Series requestsPerSecond; // the local service under a mixed load
    QStringList problems;
};

// Runs every measurement against the local services at `origin` (default history) and
// `paddedOrigin` (the largest history), printing progress to standard error.
void measure(const Setup &setup, const QString &origin, const QString &paddedOrigin, Readings &out);

// One round trip in this process: what `kelvra-bench --roundtrip ORIGIN` prints.
int roundTripOnce(const QString &origin);
