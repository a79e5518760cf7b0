// XML text as people and programs write it: the same tree in many forms, and what is no XML.
#ifndef TESTS_MODEL_RENDER_H
#define TESTS_MODEL_RENDER_H

#include <string>

#include "tests/model/Dice.h"
#include "tests/model/Tree.h"

namespace model {

/// One of the many texts that say what ReadBack(tree) is. The tree holds only what XML can carry.
std::string Render(const Tree& tree, Dice& dice);

/// A text that is not a well-formed document within the limits.
std::string Malformed(Dice& dice);

}  // namespace model

#endif
