#pragma once

#include <QTranslator>

/// Translates every text by putting it into brackets: "Introduction" becomes "[Introduction]".
class MarkingTranslator : public QTranslator
{
public:
    bool isEmpty() const override { return false; }

    QString translate(const char * /*context*/, const char *sourceText,
                      const char * /*disambiguation*/, int /*count*/) const override
    {
        return "[" + QString::fromUtf8(sourceText) + "]";
    }
};
