// The words of the three text grammars: what stands between blanks, comments and punctuation, with its line. A word is
// anything that is none of these, a number too; quoted words may hold everything, `\"` and `\\` in them stand for `"`
// and `\`, and they may continue over lines.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/Description.h"
#include "formats/Problems.h"

namespace formats {

struct Grammar {
  std::string_view punctuation;  // characters that are tokens by themselves
  std::string_view separators;   // characters that are blanks
  bool slashComments = false;    // "//" to the line's end, "/*" to "*/"
  char lineComment = 0;          // to the line's end
  bool quotes = true;
};

struct Token {
  enum Kind : char { End, Word, Quoted, Mark };
  Kind kind = End;
  std::string_view text;  // without quotes, escapes as they stand
  int line = 0;

  bool Is(char mark) const { return kind == Mark && text[0] == mark; }
  bool IsWord(std::string_view word) const { return kind == Word && text == word; }
  bool IsName() const { return kind == Word || kind == Quoted; }
  std::string Unquoted() const;  // escapes taken away
};

class Tokenizer {
 public:
  // The text has to stay as long as the tokens are used.
  Tokenizer(std::string_view text, const Grammar& grammar, Problems* problems);

  const Token& Peek() const { return token_; }
  Token Take() {
    Token taken = token_;
    Advance();
    return taken;
  }
  // Takes the mark where it comes next.
  bool TakeIf(char mark) {
    if (!token_.Is(mark)) return false;
    Advance();
    return true;
  }
  bool TakeIfWord(std::string_view word) {
    if (!token_.IsWord(word)) return false;
    Advance();
    return true;
  }
  // Reports what stands in the place of what is wanted; answers false.
  bool Refuse(std::string_view wanted);
  // Takes the mark, or refuses what stands there.
  bool Expect(char mark);
  // Everything from the next token up to the mark as it stands, comments and all, and the mark; a quoted text may hold
  // it, where its quote is closed. Answers nothing where the mark does not come.
  std::optional<std::string_view> TakeRaw(char mark);
  // Goes behind the block whose opening brace was taken, or to the end.
  void SkipBlock();
  // Goes behind the next ";" of this block, or before the brace that closes it.
  void SkipStatement();

  // A place to come back to.
  struct Place {
    const char* at;
    int line;
    Token token;
  };
  Place Here() const { return {at_, line_, token_}; }
  void GoTo(const Place& place);

 private:
  enum Class : unsigned char { WordPart, Blank, LineEnd, Punctuation, Quote, CommentStart, Slash };
  Class ClassOf(char c) const { return static_cast<Class>(classes_[static_cast<unsigned char>(c)]); }
  void Advance();
  bool SkipComment();
  void TakeQuoted();
  const char* FindRaw(const char* at, char mark) const;

  const char* at_;  // behind the token
  const char* end_;
  int line_ = 1;
  Token token_;
  Problems* problems_;
  unsigned char classes_[256];
};

// In quotes, with what has to be escaped.
std::string QuotedText(std::string_view text);

// A word with its line, for descriptions.
Word ToWord(const Token& token);

}  // namespace formats
