#pragma once
// Telling Chinese in a text: for the checks of the English interface.

#include <QList>
#include <QString>

// A character of the Chinese, Japanese and Korean scripts, their punctuation and full-width
// forms ("，", "：", "（"), which an English text never holds.
inline bool isCjk(char32_t c)
{
    return (c >= 0x2E80 && c <= 0x2FDF)        // radicals
           || (c >= 0x3000 && c <= 0x30FF)     // CJK punctuation, kana
           || (c >= 0x3100 && c <= 0x31FF)     // bopomofo, kana extensions
           || (c >= 0x3200 && c <= 0x9FFF)     // enclosed, compatibility, extension A, unified
           || (c >= 0xAC00 && c <= 0xD7AF)     // hangul
           || (c >= 0xF900 && c <= 0xFAFF)     // compatibility ideographs
           || (c >= 0xFE30 && c <= 0xFE4F)     // compatibility forms
           || (c >= 0xFF00 && c <= 0xFFEF)     // full-width and half-width forms
           || (c >= 0x20000 && c <= 0x3FFFF);  // supplementary ideographs
}

inline bool containsCjk(const QString& text)
{
    for (char32_t c : text.toUcs4())
        if (isCjk(c)) return true;
    return false;
}
