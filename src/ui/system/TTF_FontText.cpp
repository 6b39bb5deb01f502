#include <utf8.h>

#include <algorithm>
#include <climits>
#include <cstdint>

#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/TTF_Log.h"
#include "src/ui/system/Utf8.h"

namespace {

// Cuts a text into lines, code point by code point. Widths are pixels.
class LineSplitter {
public:
    // text: valid UTF-8. limit: see splitTextToLines().
    LineSplitter(TTF_Font& font, const std::string& text, int spaceWidth, int& limit, bool measureOnly)
        : _font(font), _text(text), _spaceWidth(spaceWidth), _limit(limit), _measureOnly(measureOnly) {}

    std::vector<std::string> split() {
        auto next = _text.begin();
        while (next != _text.end()) {
            const std::uint32_t codePoint = utf8::unchecked::next(next);
            const std::optional<int> glyphWidth = _font.glyphWidth(codePoint);
            if (!glyphWidth) {
                return std::move(_lines);
            }
            _position = static_cast<std::size_t>(next - _text.begin());
            _wordWidth += *glyphWidth;
            if (codePoint == '\n' || (codePoint == '\\' && !atEnd() && *next == 'n')) {
                endLine();
            } else if (codePoint == ' ' || atEnd()) {
                endWord();
            }
        }
        if (_lineStart < _text.size() || _afterBreak) {
            emitUpTo(_text.size());
        }
        return std::move(_lines);
    }

private:
    bool atEnd() const { return _position == _text.size(); }

    // The word holds the space that ended it, and one space more is kept free behind it.
    bool fits() const { return _measureOnly || _spaceWidth + _lineWidth + _wordWidth <= _limit; }

    void endWord() {
        if (!fits()) {
            wrap();
        } else if (atEnd()) {
            emitUpTo(_position);
            _afterBreak = false;
        } else {
            _lineWidth += _wordWidth;
            _wordWidth = 0;
            _wordStart = _position;
            _afterBreak = false;
        }
    }

    void endLine() {
        if (fits()) {
            emitUpTo(_position);
            _wordStart = _position;
            _lineWidth = _wordWidth = 0;
        } else {
            wrap(); // the break goes with its word
        }
        _afterBreak = true;
    }

    // Ends the line before the word, which starts the next one.
    void wrap() {
        emitUpTo(_wordStart);
        _lineWidth = _wordWidth;
        _wordWidth = 0;
        _wordStart = _position;
    }

    // Takes the text from the line's start to there as a line; the next one starts there.
    void emitUpTo(std::size_t end) {
        if (_measureOnly) {
            const std::int64_t widest = std::max<std::int64_t>(_limit, _lineWidth + _wordWidth);
            _limit = static_cast<int>(std::min<std::int64_t>(widest, INT_MAX));
        }
        _lines.push_back(_text.substr(_lineStart, end - _lineStart));
        _lineStart = end;
    }

    TTF_Font& _font;
    const std::string& _text;
    const int _spaceWidth;
    int& _limit;
    const bool _measureOnly;

    std::vector<std::string> _lines;
    std::size_t _position = 0; // behind the code point at hand
    std::size_t _lineStart = 0;
    std::size_t _wordStart = 0;
    std::int64_t _lineWidth = 0; // without the word
    std::int64_t _wordWidth = 0;
    bool _afterBreak = false;
};

} // namespace

unsigned int TTF_Font::getTextWidth(const std::string& text, unsigned int maxChars) {
    if (getFace() == nullptr) {
        return 0;
    }
    if (!Utf8::isValid(text)) {
        TTF_LOG(1, "drawText error: text is invalid utf8\n");
        return 0;
    }
    std::int64_t width = 0;
    auto next = text.begin();
    for (unsigned int index = 0; next != text.end(); ++index) {
        width += glyphWidth(utf8::unchecked::next(next)).value_or(0);
        if (index == maxChars - 1) {
            break;
        }
    }
    return static_cast<unsigned int>(std::clamp<std::int64_t>(width, 0, UINT_MAX));
}

std::vector<std::string> TTF_Font::splitTextToLines(const std::string& text, int& width, bool measureOnly) {
    if (getFace() == nullptr || text.empty()) {
        return {std::string()};
    }
    const std::optional<int> spaceWidth = glyphWidth(' ');
    if (!spaceWidth) {
        return {};
    }
    if (!Utf8::isValid(text)) {
        TTF_LOG(1, "splitText: text is invalid utf8\n");
        return {};
    }
    if (width == 0) {
        TTF_LOG(5, "splitText: width limitation is 0\n");
        return {};
    }
    return LineSplitter(*this, text, *spaceWidth, width, measureOnly).split();
}

std::vector<std::string> TTF_Font::splitTextToLines(const std::string& text, int width) {
    return splitTextToLines(text, width, false);
}

std::string TTF_Font::splitToLineBreaks(const std::string& text, int maxChars) {
    if (maxChars < 1) {
        return text;
    }
    std::string result;
    int count = 0;
    for (const char byte : text) {
        if (byte == '\n') {
            result += byte;
            count = 0;
        } else if (byte != ' ' || (count > 0 && count < maxChars)) {
            result += byte;
            count = std::min(count + 1, maxChars);
        } else if (count > 0) {
            result += '\n';
            count = 0;
        }
    }
    return result;
}
