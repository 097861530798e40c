#pragma once

#include <QByteArray>
#include <QString>

// Secrets and identifiers, all drawn from the operating system's secure random source.

// `bytes` random bytes as lower-case hexadecimal, two digits per byte.
QString randomHex(int bytes);
// A short code a person can compare at a glance: capital letters and digits, none of the
// look-alikes 0/O, 1/I/L.
QString randomCode(int length);
// Whether two secrets are equal, in time that does not depend on where they first differ.
bool sameSecret(const QByteArray &a, const QByteArray &b);
