// A command as plain data. A parameter whose text is XML carries the tree beside it, so that the
// model needs no parser.
#ifndef TESTS_MODEL_MESSAGE_H
#define TESTS_MODEL_MESSAGE_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/model/Tree.h"

namespace model {

struct Parameter {
    std::string name;
    std::string text;
    std::optional<Tree> tree;  // what the text says; none when it is not a document
};

struct Message {
    std::string name;
    std::vector<Parameter> parameters;

    explicit Message(std::string commandName) : name(std::move(commandName)) {}

    Message& Add(const std::string& parameter, const std::string& text) {
        parameters.push_back({parameter, text, std::nullopt});
        return *this;
    }

    bool Has(const std::string& parameter) const { return Find(parameter) != nullptr; }

    std::string Text(const std::string& parameter) const {
        const Parameter* found = Find(parameter);
        return found ? found->text : "";
    }

    int Int(const std::string& parameter) const { return ReadInt(Text(parameter)); }
    unsigned long Id(const std::string& parameter) const { return ReadId(Text(parameter)); }

    /// The children of the document's root; none if the text is not a document.
    std::vector<Tree> Children(const std::string& parameter) const {
        const Parameter* found = Find(parameter);
        return found && found->tree ? found->tree->children : std::vector<Tree>();
    }

    /// The command as an element, which is its echo.
    Tree Xml() const {
        Tree tree(name);
        for (const Parameter& parameter : parameters)
            tree.Add(parameter.name, parameter.text);
        return tree;
    }

private:
    /// If a parameter is repeated, the first one counts.
    const Parameter* Find(const std::string& parameter) const {
        for (const Parameter& one : parameters) {
            if (one.name == parameter) return &one;
        }
        return nullptr;
    }
};

}  // namespace model

#endif
