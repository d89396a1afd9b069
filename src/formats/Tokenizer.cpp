#include "formats/Tokenizer.h"

#include <algorithm>
#include <cstring>

#include "formats/Description.h"

namespace formats {

std::string Token::Unquoted() const {
  std::string plain;
  plain.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (kind == Quoted && text[i] == '\\' && i + 1 < text.size() && (text[i + 1] == '"' || text[i + 1] == '\\')) ++i;
    plain += text[i];
  }
  return plain;
}

std::string QuotedText(std::string_view text) {
  std::string quoted = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

Word ToWord(const Token& token) {
  if (token.kind == Token::Word) return {std::string(token.text), token.line};
  return {token.Unquoted(), token.line};
}

Tokenizer::Tokenizer(std::string_view text, const Grammar& grammar, Problems* problems)
    : at_(text.data()), end_(text.data() + text.size()), problems_(problems) {
  std::memset(classes_, WordPart, sizeof classes_);
  const auto set = [this](std::string_view characters, Class kind) {
    for (char c : characters) classes_[static_cast<unsigned char>(c)] = kind;
  };
  set(" \t\f\v\r", Blank);
  set(grammar.separators, Blank);
  set("\n", LineEnd);
  set(grammar.punctuation, Punctuation);
  if (grammar.quotes) set("\"", Quote);
  if (grammar.slashComments) set("/", Slash);
  if (grammar.lineComment) set(std::string_view(&grammar.lineComment, 1), CommentStart);
  Advance();
}

// Stands at what may begin a comment; goes behind it, or to the end where it is not closed.
bool Tokenizer::SkipComment() {
  const bool isLong = *at_ == '/' && at_ + 1 < end_ && at_[1] == '*';
  if (ClassOf(*at_) == Slash && !isLong && !(at_ + 1 < end_ && at_[1] == '/')) return false;
  if (!isLong) {
    at_ = std::find(at_, end_, '\n');
    return true;
  }
  const int line = line_;
  for (at_ += 2; at_ < end_; ++at_) {
    if (*at_ == '\n') line_++;
    if (*at_ == '*' && at_ + 1 < end_ && at_[1] == '/') {
      at_ += 2;
      return true;
    }
  }
  problems_->Add(UNCLOSED_BLOCK, line, {"comment"});
  return true;
}

void Tokenizer::TakeQuoted() {
  const int line = line_;
  const char* const start = ++at_;
  for (; at_ < end_ && *at_ != '"'; ++at_) {
    if (*at_ == '\\' && at_ + 1 < end_ && at_[1] != '\n') ++at_;
    if (*at_ == '\n') line_++;
  }
  token_ = {Token::Quoted, {start, static_cast<std::size_t>(at_ - start)}, line};
  if (at_ < end_) {
    ++at_;
  } else {
    problems_->Add(UNCLOSED_BLOCK, line, {"quoted text"});
  }
}

void Tokenizer::Advance() {
  for (; at_ < end_; ++at_) {
    const Class kind = ClassOf(*at_);
    if (kind == Blank) continue;
    if (kind == LineEnd) {
      ++line_;
      continue;
    }
    if ((kind == CommentStart || kind == Slash) && SkipComment()) {
      --at_;
      continue;
    }
    if (kind == Quote) return TakeQuoted();
    const char* const start = at_++;
    if (kind != Punctuation) {
      for (; at_ < end_; ++at_) {
        const Class part = ClassOf(*at_);
        if (part == WordPart) continue;
        if (part != Slash || (at_ + 1 < end_ && (at_[1] == '/' || at_[1] == '*'))) break;
      }
    }
    token_ = {kind == Punctuation ? Token::Mark : Token::Word, {start, static_cast<std::size_t>(at_ - start)}, line_};
    return;
  }
  token_ = {Token::End, {}, line_};
}

bool Tokenizer::Refuse(std::string_view wanted) {
  if (token_.kind == Token::End) {
    problems_->Add(UNEXPECTED_END, token_.line, {wanted});
  } else {
    problems_->Add(UNEXPECTED_WORD, token_.line, {token_.text, wanted});
  }
  return false;
}

bool Tokenizer::Expect(char mark) {
  if (TakeIf(mark)) return true;
  return Refuse(std::string("\"") + mark + "\"");
}

const char* Tokenizer::FindRaw(const char* at, char mark) const {
  bool quoted = false;
  for (const char* stop = at; stop < end_; ++stop) {
    if (!quoted && *stop == mark) return stop;
    if (quoted && *stop == '\\' && stop + 1 < end_) {
      ++stop;
    } else if (*stop == '"') {
      quoted = !quoted;
    }
  }
  return std::find(at, end_, mark);
}

std::optional<std::string_view> Tokenizer::TakeRaw(char mark) {
  if (token_.kind == Token::End) return std::nullopt;
  const char* const start = token_.kind == Token::Quoted ? token_.text.data() - 1 : token_.text.data();
  const char* const stop = FindRaw(start, mark);
  if (stop == end_) return std::nullopt;
  line_ = token_.line + static_cast<int>(std::count(start, stop, '\n'));
  at_ = stop + 1;
  Advance();
  return std::string_view(start, static_cast<std::size_t>(stop - start));
}

void Tokenizer::SkipBlock() {
  for (int depth = 1; depth > 0 && token_.kind != Token::End; Advance()) depth += token_.Is('{') - token_.Is('}');
}

void Tokenizer::SkipStatement() {
  for (int depth = 0; token_.kind != Token::End; Advance()) {
    if (depth == 0 && token_.Is('}')) return;
    depth += token_.Is('{') - token_.Is('}');
    if (depth == 0 && token_.Is(';')) break;
  }
  Advance();
}

void Tokenizer::GoTo(const Place& place) {
  at_ = place.at;
  line_ = place.line;
  token_ = place.token;
}

}  // namespace formats
