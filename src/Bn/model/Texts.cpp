#include "Bn/model/Texts.h"

#include <cstring>

#include "Basic/Text.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/NameLists.h"
#include "Bn/model/NodeNames.h"
#include "Bn/model/NodeOrder.h"

namespace bravic {
namespace {

constexpr int FIRST_ROOM = 4;  // entries: two pairs

int Size(char* const* texts) {
  return texts ? static_cast<int>(BlockSize(texts) / sizeof(char*)) : 0;
}

// Index of the key among the entries; -1 when there is none.
int FindKey(char* const* texts, const char* key) {
  for (int i = 0; i < Size(texts); i += 2) {
    if (texts[i] && std::strcmp(texts[i], key) == 0) return i;
  }
  return -1;
}

// Behind the last pair.
int EndOf(char* const* texts) {
  int end = Size(texts);
  while (end > 0 && !texts[end - 2]) end -= 2;
  return end;
}

// The pairs, without room between them, for which keep(key) is true.
template <class Keep>
char** CopyPairs(char* const* texts, int size, Keep keep) {
  auto** copy = NewCleared<char*>(size);
  int end = 0;
  ForEachText(texts, [&](const char* key, const char* text) {
    if (!keep(key)) return;
    copy[end++] = DupText(key);
    copy[end++] = DupText(text);
  });
  return copy;
}

bool IsAnyKey(const char*) {
  return true;
}

void AddPair(UndoRecord* undo, char**& texts, const char* key, const char* text) {
  // Copied first: the host's may be one of the texts that are replaced.
  char *const newKey = DupText(key), *const newText = DupText(text);
  int at = EndOf(texts);
  if (at == Size(texts)) {
    ReplaceTexts(undo, texts, CopyPairs(texts, at ? 2 * at : FIRST_ROOM, IsAnyKey));
    at = EndOf(texts);
  }
  ReplaceTextAt(undo, texts, at, newKey);
  ReplaceTextAt(undo, texts, at + 1, newText);
}

int ChangeText(net_bn net, node_bn node, UndoCode code, char**& texts, const char* key, const char* text) {
  const int at = FindKey(texts, key);
  if (EqualText(at < 0 ? "" : texts[at + 1], OrEmpty(text))) return 1;
  UndoRecord* undo = NewUndo(code, net, node);
  if (at < 0) {
    AddPair(undo, texts, key, text);
  } else if (IsEmptyName(text)) {
    ReplaceTextAt(undo, texts, at, nullptr);
    ReplaceTextAt(undo, texts, at + 1, nullptr);
  } else {
    ReplaceTextAt(undo, texts, at + 1, DupText(text));
  }
  if (net) net->dirty = true;
  return 0;
}

}  // namespace

int SetText(net_bn net, const char* key, const char* text) {
  return ChangeText(net, nullptr, UNDO_NET_TEXT, net->texts, key, text);
}

int SetText(node_bn node, const char* key, const char* text) {
  const int answer = ChangeText(node->innet, node, UNDO_NODE_TEXT, node->texts, key, text);
  if (answer == 0) node->fields[NODE_USER] = FIELD_READ;
  return answer;
}

const char* FindText(char* const* texts, const char* key) {
  const int at = FindKey(texts, key);
  return at < 0 ? "" : texts[at + 1];
}

statetype StateOfKey(const char* key) {
  constexpr std::size_t length = sizeof STATE_KEY - 1;
  constexpr int MAX_STATE = 1 << 29;
  if (std::strncmp(key, STATE_KEY, length) != 0) return UNDEF_STATE;
  const char* digit = key + length;
  if (!*digit || (*digit == '0' && digit[1])) return UNDEF_STATE;
  int state = 0;
  for (; *digit; ++digit) {
    if (!IsAsciiDigit(static_cast<unsigned char>(*digit)) || state > MAX_STATE / 10) return UNDEF_STATE;
    state = 10 * state + (*digit - '0');
  }
  return state;
}

node_bn FindNodeSpelled(net_bn net, const char* spelling) {
  if (node_bn named = FindNode(net, spelling)) return named;
  if (!*spelling) return nullptr;
  for (node_bn node : OrderedNodes(net)) {
    if (EqualText(FindText(node->texts, LABEL_KEY), spelling)) return node;
  }
  return nullptr;
}

statetype FindStateSpelled(const bnode& node, const char* spelling) {
  statetype found = FindState(node, spelling);
  if (found != UNDEF_STATE) return found;
  ForEachStateText(node, [&](statetype state, const char* text) {
    if (EqualText(text, spelling) && (found == UNDEF_STATE || state < found)) found = state;
  });
  return found;
}

void DropStateTexts(UndoRecord* undo, node_bn node) {
  bool any = false;
  ForEachText(node->texts, [&](const char* key, const char*) { any = any || StateOfKey(key) != UNDEF_STATE; });
  if (!any) return;
  const auto isOther = [](const char* key) { return StateOfKey(key) == UNDEF_STATE; };
  ReplaceTexts(undo, node->texts, CopyPairs(node->texts, Size(node->texts), isOther));
}

bool HasTexts(char* const* texts) {
  return EndOf(texts) > 0;
}

char** CopyTexts(char* const* texts) {
  const int size = EndOf(texts);
  return size ? CopyPairs(texts, size, IsAnyKey) : nullptr;
}

bool SameTexts(char* const* a, char* const* b) {
  int numHere = 0, numThere = 0;
  bool same = true;
  ForEachText(a, [&](const char* key, const char* text) {
    ++numHere;
    same = same && EqualText(FindText(b, key), text);
  });
  ForEachText(b, [&](const char*, const char*) { ++numThere; });
  return same && numHere == numThere;
}

}  // namespace bravic
