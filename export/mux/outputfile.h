#pragma once

// The file an export writes: a hidden part file beside the destination,
// renamed onto it only when the export is complete, and removed otherwise,
// so that a cancelled or failed export leaves nothing behind and never
// destroys a file that was there.

#include <QString>

namespace videoexport {

class OutputFile
{
public:
    // False, with a one-line reason, when the destination exists and
    // `replace` is not set, or its folder cannot be written.
    bool prepare(const QString &destination, bool replace, QString *error);
    QString partPath() const { return part; }
    QString destination() const { return target; }
    bool commit(QString *error);
    ~OutputFile();

private:
    QString target;
    QString part;
    bool replace = false;
    bool committed = false;
};

} // namespace videoexport
