#ifndef PCIINFO_MOF_LEXER_H
#define PCIINFO_MOF_LEXER_H

#include <cstddef>
#include <string>

#include "mof/schema.h"

namespace mof {

enum class TokenKind { end, identifier, string, character, integer, real, directive, symbol };

struct Token {
    TokenKind kind = TokenKind::end;
    std::string text;  // of strings and characters: their contents in UTF-8, escapes resolved
    std::size_t line = 1;

    /** What an error shows of it: of literals their kind, as their contents may be anything. */
    std::string shown() const;
    bool isSymbol(char symbol) const { return kind == TokenKind::symbol && text[0] == symbol; }
    /** Letter case is ignored. */
    bool isWord(const char* word) const;
};

/** Throws Error for that place. */
[[noreturn]] void fail(const Source& source, std::size_t line, const std::string& what);

/** Cuts a MOF text into tokens; blanks and comments are skipped. The source has to outlive it. */
class Lexer {
 public:
    /** Throws Error when the text is no UTF-8. */
    explicit Lexer(const Source& source);

    /** The next token, `end` at and behind the end of the text. Throws Error for what begins no token. */
    Token next();

 private:
    char at(std::size_t offset = 0) const;
    bool startsNumber() const;
    void skipBlanks();
    void skipComment();
    Token identifier(TokenKind kind);
    Token number();
    Token string();
    Token character();
    std::string quoted(char quote);
    std::string escape();
    std::string codePointEscape();

    const Source& source_;
    const std::string& text_;
    std::size_t place_ = 0;
    std::size_t line_ = 1;
};

}  // namespace mof

#endif
