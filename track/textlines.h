#pragma once

#include <QString>
#include <QStringList>

// Reads a UTF-8 text file whole. Returns false when it cannot be opened.
// Line ends (including every '\r') are dropped; empty lines are skipped.
bool readNonEmptyLines(const QString &path, QStringList &lines);
