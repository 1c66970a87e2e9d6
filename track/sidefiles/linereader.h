#pragma once

#include "tracklimits.h"

#include <QFile>
#include <QString>
#include <QStringRef>
#include <QXmlStreamReader>
#include <memory>

class QTextCodec;
class QTextDecoder;

// A text file decoded a chunk at a time, as a text-mode QTextStream reads
// it: UTF-8 unless a byte-order mark says otherwise, invalid bytes as
// U+FFFD, every '\r' dropped. Memory stays at one chunk whatever the file's
// size.
class DecodedFile
{
public:
    DecodedFile();
    ~DecodedFile();

    // False when the file cannot be opened.
    bool open(const QString &path);
    // The next piece of text; false at the end of the file.
    bool read(QString &text);

    static const int chunkBytes = 1 << 20;

private:
    QFile file;
    QTextCodec *codec = nullptr;
    std::unique_ptr<QTextDecoder> decoder;
    QByteArray held; // the start of a sequence that the last chunk cut
    bool atEnd = false;
};

// The next token of a document read from `text` a piece at a time: where
// the reader runs out, the next piece is fed to it. Invalid, with the
// reader's error, when the document is broken or ends too early.
QXmlStreamReader::TokenType nextToken(QXmlStreamReader &xml, DecodedFile &text);

// A text file read line by line (see DecodedFile), with no empty line after
// a final line end. A line longer than maxLineChars is given only that far.
class LineReader
{
public:
    enum EmptyLines
    {
        SkipEmpty,
        KeepEmpty
    };
    explicit LineReader(EmptyLines empty = SkipEmpty, int maxLineChars = tracklimits::maxLineChars);

    // False when the file cannot be opened.
    bool open(const QString &path);
    // The next line; false at the end of the file. The reference holds
    // until the next call.
    bool next(QStringRef &line);
    // The line just given was cut at maxLineChars.
    bool truncated() const { return lastTruncated; }

private:
    bool readChunk();

    const EmptyLines empty;
    const int maxLineChars;
    DecodedFile file;
    QString buffer; // decoded text from pos on is still to be given
    int pos = 0;
    QString longLine; // the kept start of a line over the limit
    bool lastTruncated = false;
};
