// An XML element as plain data, its one text form, and the reading of numbers from text.
//
// Written a second time on purpose: what the agent is compared with must not be built on what
// the agent is built on.
#ifndef TESTS_MODEL_TREE_H
#define TESTS_MODEL_TREE_H

#include <string>
#include <utility>
#include <vector>

namespace model {

struct Tree {
    std::string name;
    std::string text;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<Tree> children;

    explicit Tree(std::string elementName, std::string elementText = "")
        : name(std::move(elementName)), text(std::move(elementText)) {}

    Tree& Add(Tree child);
    Tree& Add(const std::string& childName, const std::string& childText);
    Tree& AddInt(const std::string& childName, long long number);
    Tree& AddBool(const std::string& childName, bool value);

    /// The first child of that name, or null.
    const Tree* Find(const std::string& childName) const;
    /// The text of the first child of that name; empty when there is none.
    std::string Value(const std::string& childName) const;
    /// The attribute's text; empty when there is none.
    std::string Attribute(const std::string& attributeName) const;
};

/// The text that a host writes for the tree.
std::string ToText(const Tree& tree);

/// What a reader of ToText(tree) gets: characters that XML cannot carry are replaced, white space
/// beside children is gone.
Tree ReadBack(const Tree& tree);

/// True when every text of the tree is written as it stands.
bool IsCarried(const Tree& tree);

/// A number in base 10, read like strtol and saturated to 64 bits.
long long ReadLong(const std::string& text);
/// The same saturated to 32 bits.
int ReadInt(const std::string& text);
/// The same as an id: saturated to -2147483648 to 4294967295, then negatives modulo 2^32.
unsigned long ReadId(const std::string& text);
unsigned long ToId(long long number);
/// Only digits up to 4294967295 with white space around them; false for all else.
bool ReadStrictId(const std::string& text, unsigned long& id);
bool ReadBool(const std::string& text);

}  // namespace model

#endif
