// Object paths as people write them. Tests: tests/broker/text_test.cpp.

#include <charconv>
#include <set>
#include <stdexcept>
#include <string>

#include "cim/ascii.h"
#include "cim/data.h"
#include "cim/names.h"

namespace cim {

namespace {

constexpr const char* defaultNameSpace = "root/kavix";

class Parser {
 public:
    explicit Parser(const std::string& text) : text_(text) {}

    ObjectPath path() {
        ObjectPath result;
        result.nameSpace = nameSpace();
        result.className = name("a class name");
        if (atEnd()) return result;
        expect('.', "'.' and the keys, or the end,");
        std::set<std::string> names;
        do {
            Property key;
            key.name = name("a key name");
            if (!names.insert(foldedName(key.name)).second) fail("the key \"" + key.name + "\" is given twice");
            expect('=', "'='");
            key.value = value();
            result.keys.push_back(std::move(key));
        } while (accept(','));
        if (!atEnd()) fail("',' or the end expected");
        return result;
    }

 private:
    [[noreturn]] void fail(const std::string& what) const {
        throw std::invalid_argument("object path \"" + text_ + "\", position " + std::to_string(position_ + 1) + ": " +
                                    what);
    }

    bool atEnd() const { return position_ == text_.size(); }
    bool at(bool (*matches)(char)) const { return !atEnd() && matches(text_[position_]); }

    bool accept(char letter) {
        if (atEnd() || text_[position_] != letter) return false;
        ++position_;
        return true;
    }

    void expect(char letter, const std::string& what) {
        if (!accept(letter)) fail(what + " expected");
    }

    // A colon after the first quotation mark belongs to a key's text.
    std::string nameSpace() {
        const std::size_t end = text_.find_first_of(":\"");
        if (end == std::string::npos || text_[end] != ':') return defaultNameSpace;
        position_ = end + 1;
        return text_.substr(0, end);
    }

    std::string name(const std::string& what) {
        const std::size_t begin = position_;
        if (!at(isLetter)) fail(what + " expected");
        while (at(isLetter) || at(isDigit)) ++position_;
        return text_.substr(begin, position_ - begin);
    }

    Value value() {
        if (accept('"')) return textual(quotedText());
        const std::size_t begin = position_;
        while (!atEnd() && text_[position_] != ',') ++position_;
        const std::string word = text_.substr(begin, position_ - begin);
        if (sameName(word, "TRUE") || sameName(word, "FALSE")) return Value::boolean(sameName(word, "TRUE"));
        if (sameName(word, "NULL")) return Value::nothing(CMPI_string);
        position_ = begin;
        Value result = number(word);
        position_ += word.size();
        return result;
    }

    std::string quotedText() {
        std::string result;
        while (!accept('"')) {
            if (atEnd()) fail("the closing quotation mark is missing");
            if (accept('\\') && !at([](char letter) { return letter == '"' || letter == '\\'; })) {
                fail("'\"' or '\\' expected behind '\\'");
            }
            result += text_[position_++];
        }
        return result;
    }

    Value number(const std::string& word) const {
        if (word.empty()) fail("a value expected");
        std::uint64_t positive = 0;
        if (isAll(word, positive)) return Value::uint(CMPI_uint64, positive);
        std::int64_t negative = 0;
        if (isAll(word, negative))
            return negative < 0 ? Value::sint(CMPI_sint64, negative) : Value::uint(CMPI_uint64, 0);
        double real = 0;
        const bool integral = word.find_first_not_of("-0123456789") == std::string::npos;
        if (!integral && isAll(word, real)) return Value::real(CMPI_real64, real);
        fail("\"" + word + "\" is no value: quoted text, a number, TRUE, FALSE or NULL expected");
    }

    template <typename Number>
    static bool isAll(const std::string& word, Number& number) {
        const char* end = word.data() + word.size();
        const auto result = std::from_chars(word.data(), end, number);
        return result.ec == std::errc() && result.ptr == end;
    }

    // References are quoted like text; a text that is a whole path with namespace and keys is taken for one.
    static Value textual(const std::string& text) {
        const std::size_t colon = text.find_first_of(":\"");
        if (colon == std::string::npos || text[colon] != ':') return Value::string(text);
        try {
            const ObjectPath path = Parser(text).path();
            return path.keys.empty() ? Value::string(text) : Value::reference(path);
        } catch (const std::invalid_argument&) {
            return Value::string(text);
        }
    }

    const std::string text_;
    std::size_t position_ = 0;
};

}  // namespace

ObjectPath parseObjectPath(const std::string& text) {
    return Parser(text).path();
}

}  // namespace cim
