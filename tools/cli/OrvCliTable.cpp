#include "OrvCliTable.h"

#include <algorithm>

namespace {

// Decodes one code point at text[i], advancing i; bad bytes count as one.
unsigned nextCodePoint(const std::string& text, size_t& i)
{
    const unsigned char lead = static_cast<unsigned char>(text[i]);
    size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : (lead >> 3) == 0x1E ? 4 : 1;
    if (i + length > text.size()) {
        length = 1;
    }
    unsigned cp = length == 1 ? lead : length == 2 ? (lead & 0x1F) : length == 3 ? (lead & 0x0F) : (lead & 0x07);
    for (size_t k = 1; k < length; ++k) {
        cp = (cp << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
    }
    i += length;
    return cp;
}

bool isWide(unsigned cp)
{
    return (cp >= 0x1100 && cp <= 0x115F) || (cp >= 0x2E80 && cp <= 0xA4CF) || (cp >= 0xAC00 && cp <= 0xD7A3) ||
           (cp >= 0xF900 && cp <= 0xFAFF) || (cp >= 0xFE30 && cp <= 0xFE4F) || (cp >= 0xFF00 && cp <= 0xFF60) ||
           (cp >= 0xFFE0 && cp <= 0xFFE6) || (cp >= 0x20000 && cp <= 0x3FFFD);
}

} // namespace

OrvCliTable::OrvCliTable(std::vector<std::string> headings) : headings(std::move(headings)) {}

void OrvCliTable::add(std::vector<std::string> cells)
{
    cells.resize(headings.size());
    body.push_back(std::move(cells));
}

size_t OrvCliTable::displayWidth(const std::string& utf8)
{
    size_t width = 0;
    for (size_t i = 0; i < utf8.size();) {
        const unsigned cp = nextCodePoint(utf8, i);
        width += cp < 0x20 ? 0 : isWide(cp) ? 2 : 1;
    }
    return width;
}

std::string OrvCliTable::clip(const std::string& utf8, size_t width)
{
    if (displayWidth(utf8) <= width) {
        return utf8;
    }
    if (width == 0) {
        return std::string();
    }
    std::string out;
    size_t used = 0;
    for (size_t i = 0; i < utf8.size();) {
        const size_t start = i;
        const unsigned cp = nextCodePoint(utf8, i);
        const size_t w = isWide(cp) ? 2 : 1;
        if (used + w + 1 > width) {
            break;
        }
        out.append(utf8, start, i - start);
        used += w;
    }
    return out + "…";
}

void OrvCliTable::print(std::ostream& out, const std::string& indent) const
{
    std::vector<size_t> widths;
    for (const std::string& heading : headings) {
        widths.push_back(displayWidth(heading));
    }
    for (const auto& row : body) {
        for (size_t c = 0; c < row.size(); ++c) {
            widths[c] = std::max(widths[c], displayWidth(row[c]));
        }
    }
    auto line = [&](const std::vector<std::string>& cells) {
        std::string text = indent;
        for (size_t c = 0; c < cells.size(); ++c) {
            text += cells[c];
            if (c + 1 < cells.size()) {
                text += std::string(widths[c] - displayWidth(cells[c]) + 2, ' ');
            }
        }
        out << text << "\n";
    };
    line(headings);
    std::vector<std::string> rule;
    for (size_t w : widths) {
        rule.push_back(std::string(w, '-'));
    }
    line(rule);
    for (const auto& row : body) {
        line(row);
    }
}
