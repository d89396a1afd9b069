#include "Bn/files/UserTexts.h"

#include <algorithm>
#include <cstring>

#include "Basic/Text.h"
#include "Bn/files/NetValues.h"
#include "Bn/model/NameLists.h"
#include "Bn/model/Texts.h"

namespace bravic {
namespace {

bool Takes(NetReader& reader, int wanted) {
  if (reader.in.NextSignificant() == wanted) return true;
  reader.in.PushBack();
  return false;
}

// Texts that are freed unless they are taken.
struct ReadPairs {
  Vector<char*> texts;  // key, text, key, text ...
  ~ReadPairs() {
    for (char* text : texts) Free(text);
  }
};

// What follows an opening parenthesis: a key, a comma, a text and the closing parenthesis.
bool ReadPair(NetReader& reader, const Statement& at, ReadPairs& pairs) {
  for (const char end : {',', ')'}) {
    if (reader.in.Peek() != '"') return false;
    char* text;
    if (!ReadQuoted(reader, at, &text)) return false;
    pairs.texts.push_back(text);
    if (!Takes(reader, end)) return false;
  }
  return true;
}

bool ReadPairList(NetReader& reader, const Statement& at, ReadPairs& pairs) {
  if (!Takes(reader, '(')) return false;
  if (Takes(reader, ')')) return true;
  do {
    if (!Takes(reader, '(') || !ReadPair(reader, at, pairs)) return false;
  } while (!IsStarved(reader) && Takes(reader, ','));
  return Takes(reader, ')');
}

void Drop(char** pair) {
  for (char** text : {pair, pair + 1}) {
    Free(*text);
    *text = nullptr;
  }
}

// A pair without a key or without a text says nothing. Of two pairs with one key the first holds.
void DropUseless(NetReader& reader, const Statement& at, ReadPairs& pairs) {
  Vector<char**> byKey;
  for (int i = 0; i < pairs.texts.size(); i += 2) {
    char** const pair = &pairs.texts[i];
    pair[0] && pair[1] ? byKey.push_back(pair) : Drop(pair);
  }
  std::sort(byKey.begin(), byKey.end(), [](char** a, char** b) {
    const int order = std::strcmp(a[0], b[0]);
    return order < 0 || (order == 0 && a < b);
  });
  for (int i = byKey.size() - 1; i > 0; --i) {
    char** const pair = byKey[i];
    if (std::strcmp(pair[0], byKey[i - 1][0]) != 0) continue;
    ReadError(reader, ILLEGAL_VALUE_OF_FIELD, QuoteLength(pair[0]), pair[0], at.field, at.keyword, at.owner,
              LineNow(reader));
    Drop(pair);
  }
}

}  // namespace

bool ReadTexts(NetReader& reader, const Statement& at, char*** texts) {
  const Place start = reader.in.Position();
  ReadPairs pairs;
  if (!ReadPairList(reader, at, pairs)) {
    reader.in.SetPosition(start);
    return false;
  }
  DropUseless(reader, at, pairs);
  const auto end = std::remove(pairs.texts.begin(), pairs.texts.end(), nullptr);
  const auto count = static_cast<int>(end - pairs.texts.begin());
  *texts = count ? NewCleared<char*>(count) : nullptr;
  if (count) std::copy(pairs.texts.begin(), end, *texts);
  pairs.texts.clear();
  return true;
}

void PrintTexts(NetPrinter& printer, char* const* texts) {
  OutputChannel& out = printer.out;
  const int outer = printer.indent++;
  bool isFirst = true;
  out.Put('(');
  ForEachText(texts, [&](const char* key, const char* text) {
    if (!isFirst) {
      out.Put(",\n");
      printer.Indent(printer.indent);
    }
    isFirst = false;
    out.Put('(');
    printer.PutText(key);
    out.Put(", ");
    printer.PutText(text);
    out.Put(')');
  });
  out.Put(')');
  printer.indent = outer;
}

}  // namespace bravic
