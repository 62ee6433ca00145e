#include "mof/lexer.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <regex>
#include <string_view>

#include "cim/ascii.h"
#include "cim/names.h"
#include "cim/utf8.h"

namespace mof {

namespace {

bool isControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

}  // namespace

void fail(const Source& source, std::size_t line, const std::string& what) {
    throw Error(source.name + ":" + std::to_string(line) + ": " + what);
}

bool Token::isWord(const char* word) const {
    return kind == TokenKind::identifier && cim::sameName(text, word);
}

std::string Token::shown() const {
    if (kind == TokenKind::string) return "a string";
    return kind == TokenKind::character ? "a character" : text;
}

Lexer::Lexer(const Source& source) : source_(source), text_(source.text) {
    std::size_t line = 1;
    for (std::string_view rest = text_; !rest.empty();) {
        const cim::Piece piece = cim::firstPiece(rest);
        if (!piece.valid) fail(source_, line, "the text is no UTF-8");
        if (rest.front() == '\n') ++line;
        rest.remove_prefix(piece.length);
    }
}

/** A character ahead, NUL behind the end of the text. */
char Lexer::at(std::size_t offset) const {
    return place_ + offset < text_.size() ? text_[place_ + offset] : '\0';
}

Token Lexer::next() {
    skipBlanks();
    if (place_ >= text_.size()) return {TokenKind::end, "the end of the text", line_};
    const char c = at();
    if (cim::isLetter(c)) return identifier(TokenKind::identifier);
    if (startsNumber()) return number();
    if (c == '"') return string();
    if (c == '\'') return character();
    if (c == '#') return identifier(TokenKind::directive);
    if (std::strchr("[]{}(),;:=", c) == nullptr || c == '\0') {
        fail(source_, line_,
             "a character that has no meaning here (code " + std::to_string(static_cast<unsigned char>(c)) + ")");
    }
    ++place_;
    return {TokenKind::symbol, std::string(1, c), line_};
}

bool Lexer::startsNumber() const {
    const std::size_t digits = at() == '+' || at() == '-' ? 1 : 0;
    return cim::isDigit(at(digits)) || (at(digits) == '.' && cim::isDigit(at(digits + 1)));
}

void Lexer::skipBlanks() {
    while (place_ < text_.size()) {
        const char c = at();
        if (c == '/' && (at(1) == '/' || at(1) == '*')) {
            skipComment();
        } else if (c == '\n') {
            ++line_;
            ++place_;
        } else if (c == ' ' || c == '\t' || c == '\r' || c == '\f') {
            ++place_;
        } else {
            return;
        }
    }
}

/** A line comment's line end is left to be counted. */
void Lexer::skipComment() {
    const std::size_t begin = place_;
    if (at(1) == '/') {
        place_ = std::min(text_.find('\n', begin), text_.size());
        return;
    }
    const std::size_t end = text_.find("*/", begin + 2);
    if (end == std::string::npos) fail(source_, line_, "the comment that begins here has no end");
    for (; place_ < end + 2; ++place_) line_ += at() == '\n' ? 1 : 0;
}

/** The first character is one of a name already, or the '#' of a directive. */
Token Lexer::identifier(TokenKind kind) {
    constexpr std::size_t kMostCharacters = 255;
    const std::size_t begin = place_++;
    while (cim::isLetter(at()) || cim::isDigit(at())) ++place_;
    if (place_ - begin > kMostCharacters) fail(source_, line_, "a name of more than 255 characters");
    return {kind, text_.substr(begin, place_ - begin), line_};
}

Token Lexer::number() {
    constexpr std::size_t kMostCharacters = 80;  // 64 binary digits and then some
    const std::size_t begin = place_++;
    const auto exponentSign = [&] {
        return (at() == '+' || at() == '-') && (text_[place_ - 1] == 'e' || text_[place_ - 1] == 'E');
    };
    while (cim::isLetter(at()) || cim::isDigit(at()) || at() == '.' || exponentSign()) ++place_;
    const std::string text = text_.substr(begin, place_ - begin);
    if (text.size() > kMostCharacters) fail(source_, line_, "a number of more than 80 characters");

    static const std::regex kInteger("[+-]?(0[xX][0-9a-fA-F]+|[01]+[bB]|0[0-7]*|[1-9][0-9]*)");
    static const std::regex kReal(R"([+-]?[0-9]*\.[0-9]+([eE][+-]?[0-9]+)?)");
    if (std::regex_match(text, kInteger)) return {TokenKind::integer, text, line_};
    if (std::regex_match(text, kReal)) return {TokenKind::real, text, line_};
    fail(source_, line_, text + " is no number");
}

Token Lexer::string() {
    const std::size_t line = line_;
    return {TokenKind::string, quoted('"'), line};
}

Token Lexer::character() {
    const std::size_t line = line_;
    const std::string text = quoted('\'');
    if (text.empty() || text.size() > 3 || cim::firstPiece(text).length != text.size()) {
        fail(source_, line, "a character literal holds one character of 16 bits");
    }
    return {TokenKind::character, text, line};
}

std::string Lexer::quoted(char quote) {
    std::string contents;
    for (++place_; at() != quote;) {
        const bool ended = place_ >= text_.size() || at() == '\n' || at() == '\r';
        if (ended) fail(source_, line_, "the literal does not end on its line");
        if (isControl(at()) && at() != '\t') fail(source_, line_, "a control character in a literal");
        if (at() == '\\') {
            contents += escape();
        } else {
            contents += at();
            ++place_;
        }
    }
    ++place_;
    return contents;
}

std::string Lexer::escape() {
    static constexpr std::string_view kLetters = "btnfr\"'\\";
    static constexpr std::string_view kMeanings = "\b\t\n\f\r\"'\\";
    ++place_;
    if (at() == 'x' || at() == 'X') return codePointEscape();
    const std::size_t index = kLetters.find(at());
    if (at() == '\0' || index == std::string_view::npos) fail(source_, line_, "an unknown escape in a literal");
    ++place_;
    return {kMeanings[index]};
}

/** One to four hexadecimal digits. */
std::string Lexer::codePointEscape() {
    const std::size_t begin = ++place_;
    while (place_ < begin + 4 && cim::isHexDigit(at())) ++place_;
    std::uint32_t codePoint = 0;
    std::from_chars(text_.data() + begin, text_.data() + place_, codePoint, 16);
    const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    if (codePoint == 0 || surrogate) fail(source_, line_, "an escape \\x without a character's code");
    return cim::encoded(codePoint);
}

}  // namespace mof
