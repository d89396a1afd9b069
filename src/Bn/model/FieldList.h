// The fields of nets and of nodes, one row each, in the order in which files state them. A field whose value is a text,
// a number, a time, a flag or a word is read, written, compared, copied, inherited and taken back by what its row says:
// a new one is a row here and a member of the record. A field of form Own has rules of its own: files have them in
// Bn/files/NetFields.cpp and Bn/files/NodeFields.cpp. Fields.h says what the columns mean.
//
//   ROW (identifier, name in files and messages, value, traits, undo code of its setter)
#pragma once

// clang-format off
#define BRAVIC_NET_FIELDS(ROW) \
  ROW(NAME,               "name",               OWN,                          NO_TRAITS, UNDO_NET_NAME)    \
  ROW(PARAMS,             "params",             OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(NODES,              "nodes",              OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(NUMDIMENSIONS,      "numdimensions",      Number(&bnet::numdimensions), NO_TRAITS, UNDO_NONE)        \
  ROW(EQNCONTEXT,         "eqncontext",         OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(AUTOUPDATE,         "autoupdate",         Flag(&bnet::autoupdate),      NO_TRAITS, UNDO_AUTOUPDATE)  \
  ROW(ELIMORDER,          "ElimOrder",          OWN,                          NO_TRAITS, UNDO_ELIM_ORDER)  \
  ROW(USER,               "user",               OWN,                          NO_TRAITS, UNDO_NET_USER)    \
  ROW(TITLE,              "title",              Text(&bnet::title),           NO_TRAITS, UNDO_NET_TITLE)   \
  ROW(COMMENT,            "comment",            Text(&bnet::comment),         NO_TRAITS, UNDO_NET_COMMENT) \
  ROW(AUTHOR,             "author",             Text(&bnet::author),          NO_TRAITS, UNDO_NONE)        \
  ROW(WHOCHANGED,         "whochanged",         Text(&bnet::whochanged),      NO_TRAITS, UNDO_NONE)        \
  ROW(WHENCHANGED,        "whenchanged",        Seconds(&bnet::whenchanged),  NO_TRAITS, UNDO_NONE)        \
  ROW(LOCKED,             "locked",             Flag(&bnet::locked),          NO_TRAITS, UNDO_NONE)        \
  ROW(BACKCOMMENTS,       "backcomments",       OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(DUMMY,              "<dummy>",            OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(DEFINENODES,        "definenodes",        OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(VISNET,             "visnet",             OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(NUMNODES,           "numnodes",           OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(NUMSTUBS,           "numstubs",           OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(NUMDECNNODES,       "numdecnnodes",       OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(NUMEVIDNODES,       "numevidnodes",       OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(NUMLIKELIHOODNODES, "numlikelihoodnodes", OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(CONNECTED,          "connected",          OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(NUMSUBNETS,         "numsubnets",         OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(BELIEFVALID,        "beliefvalid",        OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(FIELDS,             "fields",             OWN,                          NO_TRAITS, UNDO_NONE)        \
  ROW(DIRTY,              "dirty",              OWN,                          NO_TRAITS, UNDO_NONE)

#define BRAVIC_NODE_FIELDS(ROW) \
  ROW(NAME,        "name",        OWN,                                    NO_TRAITS,                UNDO_NODE_NAME)    \
  ROW(KIND,        "kind",        Word(&bnode::kind, KIND_NAMES),         COPIED | SHAPE,           UNDO_KIND)         \
  ROW(DISCRETE,    "discrete",    Word(&bnode::discrete, DISCRETE_NAMES), COPIED | SHAPE | DERIVED, UNDO_DISCRETE)     \
  ROW(MEASURE,     "measure",     Word(&bnode::measure, MEASURE_NAMES),   COPIED | SHAPE | DERIVED, UNDO_MEASURE)      \
  ROW(CHANCE,      "chance",      Word(&bnode::chance, CHANCE_NAMES),     COPIED | DERIVED,         UNDO_NONE)         \
  ROW(NUMSTATES,   "numstates",   Number(&bnode::numstates),              COPIED | SHAPE | DERIVED, UNDO_NUM_STATES)   \
  ROW(STATES,      "states",      OWN,                                    COPIED | SHAPE,           UNDO_STATE_NAMES)  \
  ROW(LEVELS,      "levels",      OWN,                                    COPIED | SHAPE,           UNDO_LEVELS)       \
  ROW(UNITS,       "units",       Text(&bnode::units),                    COPIED | SHAPE,           UNDO_MEASURE)      \
  ROW(INPUTS,      "inputs",      OWN,                                    NO_TRAITS,                UNDO_LINK_NAMES)   \
  ROW(NUMPARENTS,  "numparents",  OWN,                                    NO_TRAITS,                UNDO_NONE)         \
  ROW(PARENTS,     "parents",     OWN,                                    NO_TRAITS,                UNDO_PARENTS)      \
  ROW(NUMCHILDREN, "numchildren", OWN,                                    NO_TRAITS,                UNDO_NONE)         \
  ROW(CHILDREN,    "children",    OWN,                                    NO_TRAITS,                UNDO_NONE)         \
  ROW(FUNCTABLE,   "functable",   OWN,                                    NO_TRAITS,                UNDO_RELATION)     \
  ROW(PROBS,       "probs",       OWN,                                    NO_TRAITS,                UNDO_RELATION)     \
  ROW(NUMCASES,    "numcases",    OWN,                                    NO_TRAITS,                UNDO_RELATION)     \
  ROW(USER,        "user",        OWN,                                    NO_TRAITS,                UNDO_NODE_USER)    \
  ROW(TITLE,       "title",       Text(&bnode::title),                    COPIED,                   UNDO_NODE_TITLE)   \
  ROW(COMMENT,     "comment",     Text(&bnode::comment),                  COPIED,                   UNDO_NODE_COMMENT) \
  ROW(AUTHOR,      "author",      Text(&bnode::author),                   COPIED | OF_NODES,        UNDO_NONE)         \
  ROW(WHOCHANGED,  "whochanged",  Text(&bnode::whochanged),               COPIED | OF_NODES,        UNDO_NONE)         \
  ROW(WHENCHANGED, "whenchanged", Seconds(&bnode::whenchanged),           NO_TRAITS,                UNDO_NONE)         \
  ROW(LOCKED,      "locked",      Flag(&bnode::locked),                   COPIED,                   UNDO_NONE)         \
  ROW(EVIDENCE,    "evidence",    OWN,                                    NO_TRAITS,                UNDO_FINDING)      \
  ROW(VALUE,       "value",       OWN,                                    NO_TRAITS,                UNDO_FINDING)      \
  ROW(LIKELIHOOD,  "likelihood",  OWN,                                    NO_TRAITS,                UNDO_FINDING)      \
  ROW(BELIEF,      "belief",      OWN,                                    DERIVED,                  UNDO_NONE)         \
  ROW(DUMMY,       "<dummy>",     OWN,                                    NO_TRAITS,                UNDO_NONE)         \
  ROW(SUBNETNUM,   "subnetnum",   OWN,                                    NO_TRAITS,                UNDO_NONE)         \
  ROW(INNET,       "innet",       OWN,                                    NO_TRAITS,                UNDO_NONE)         \
  ROW(VISUAL,      "visual",      OWN,                                    NO_TRAITS,                UNDO_NONE)         \
  ROW(DEFINENODES, "definenodes", OWN,                                    NO_TRAITS,                UNDO_NONE)         \
  ROW(ISDEFINE,    "isdefine",    OWN,                                    NO_TRAITS,                UNDO_NONE)         \
  ROW(FIELDS,      "fields",      OWN,                                    NO_TRAITS,                UNDO_NONE)
// clang-format on
