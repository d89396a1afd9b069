// Texts that programs around the library keep at nets and nodes, each under a key: the spelling that a name has in
// another program's file, a place on a screen. They are copied, taken back and saved with their owner, and never
// interpreted, but that "label" (of a node) and "state N" are spellings to find a node or a state by, and that texts of
// states go with their states.
//
// A record holds them as one array of texts: key, text, key, text ..., in the order in which they were first set. A
// pair of NULLs is room for another pair or what a removed one has left.
#pragma once

#include "Bn/model/UndoRecord.h"

namespace bravic {

inline constexpr char LABEL_KEY[] = "label",
                      STATE_KEY[] = "state ";  // of a node; of its states, with the number behind

// Answer 0 when the text was changed, 1 when it was already so; NULL or "" removes it.
int SetText(net_bn net, const char* key, const char* text);
int SetText(node_bn node, const char* key, const char* text);
const char* FindText(char* const* texts, const char* key);  // "" when there is none

node_bn FindNodeSpelled(net_bn net, const char* spelling);            // by its name, else by its "label"; or NULL
statetype FindStateSpelled(const bnode& node, const char* spelling);  // by its name, else by its text; or UNDEF_STATE
// The state that a key "state N" is of; UNDEF_STATE for any other key.
statetype StateOfKey(const char* key);
// The node gets other states, which the texts of the present ones say nothing of.
void DropStateTexts(UndoRecord* undo, node_bn node);

bool HasTexts(char* const* texts);
char** CopyTexts(char* const* texts);  // NULL where there are none
bool SameTexts(char* const* a, char* const* b);
// Calls visit(key, text) for each pair.
template <class Visit>
void ForEachText(char* const* texts, Visit visit) {
  const auto size = texts ? BlockSize(texts) / sizeof(char*) : 0;
  for (std::size_t i = 0; i < size; i += 2) {
    if (texts[i]) visit(texts[i], texts[i + 1]);
  }
}

// Calls visit(state, text) for each state's.
template <class Visit>
void ForEachStateText(const bnode& node, Visit visit) {
  ForEachText(node.texts, [&](const char* key, const char* text) {
    const statetype state = StateOfKey(key);
    if (state >= 0 && state < node.numstates) visit(state, text);
  });
}

}  // namespace bravic
