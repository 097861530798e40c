#pragma once

#include "measure.h"

#include <QString>

// The table of figures, each with its baseline, ratio and goal, as Markdown.
QString table(const Setup &setup, const Readings &readings);

// Puts `generated` between the bench's markers in the Markdown file at `path`, keeping
// everything around them; writes a new file when there is none.
bool writeInto(const QString &path, const QString &generated);
