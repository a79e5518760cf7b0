#include "tests/model/Render.h"

#include <cstdio>

namespace model {
namespace {

constexpr int kFarTooDeep = 500;

std::string Reference(char c, Dice& dice) {
    char text[16];
    std::snprintf(text, sizeof text, dice.Coin() ? "&#%d;" : "&#x%X;", static_cast<int>(c));
    return text;
}

/// Characters that must not stand as they are become references, others only now and then.
std::string Characters(const std::string& text, bool inAttribute, Dice& dice) {
    std::string characters;
    for (const char c : text) {
        const bool ascii = static_cast<unsigned char>(c) < 0x80;
        const bool markup = c == '<' || c == '&' || c == '>' || c == '"' || c == '\'' || c == '\r';
        const bool folded = inAttribute && (c == '\n' || c == '\t');
        characters += ascii && (markup || folded || dice.Percent(5)) ? Reference(c, dice) : std::string(1, c);
    }
    return characters;
}

std::string TextOf(const std::string& text, Dice& dice) {
    const bool plain = text.find("]]>") == std::string::npos && text.find('\r') == std::string::npos;
    if (plain && !text.empty() && dice.Percent(10)) return "<![CDATA[" + text + "]]>";
    return Characters(text, false, dice);
}

std::string Gap(Dice& dice) {
    static const std::vector<std::string> gaps = {"",  "",   "",           "\n    ",
                                                  " ", "\t", "<!-- 5 -->", "<?note 5?>"};
    return dice.Pick(gaps);
}

std::string Tag(const Tree& tree, Dice& dice) {
    std::string tag = "<" + tree.name;
    for (const auto& [name, value] : tree.attributes) {
        const std::string quote = dice.Coin() ? "\"" : "'";
        tag += (dice.Percent(10) ? "\n" : " ") + name + "=" + quote + Characters(value, true, dice) + quote;
    }
    return tag + (dice.Percent(5) ? " " : "");
}

/// White space may stand between two children; next to the text it would belong to the text.
std::string Element(const Tree& tree, Dice& dice) {
    if (tree.text.empty() && tree.children.empty() && dice.Coin()) return Tag(tree, dice) + "/>";
    std::string element = Tag(tree, dice) + ">";
    const bool textFirst = tree.children.empty() || dice.Coin();
    if (textFirst) element += TextOf(tree.text, dice);
    for (std::size_t i = 0; i < tree.children.size(); i++) {
        if (i > 0 || tree.text.empty()) element += Gap(dice);
        element += Element(tree.children[i], dice);
    }
    if (!textFirst) element += TextOf(tree.text, dice);
    return element + "</" + tree.name + ">";
}

}  // namespace

std::string Render(const Tree& tree, Dice& dice) {
    std::string document = dice.Percent(10) ? "<?xml version=\"1.0\" encoding=\"UTF-8\"?>" : "";
    if (dice.Percent(10)) document += "\n";
    document += Element(tree, dice);
    return dice.Percent(10) ? document + "\n<!-- end -->\n" : document;
}

std::string Malformed(Dice& dice) {
    static const std::vector<std::string> texts = {"",
                                                   " \n",
                                                   "junk",
                                                   "5",
                                                   "<a>",
                                                   "<a><b>5</b>",
                                                   "<a><b>5</a></b>",
                                                   "<a/><a><b>5</b></a>",
                                                   "<a><b>5</b></a>junk",
                                                   "<a><b>5</b>&unknown;</a>",
                                                   "<!DOCTYPE a><a><b>5</b></a>",
                                                   "<!DOCTYPE a [<!ENTITY e \"5\">]><a><b>&e;</b></a>",
                                                   "<a><b>5</b>\xFF</a>",
                                                   "<a><b>5</b>\x01</a>",
                                                   "<a><b>5</b>&#1;</a>",
                                                   "<a><b c=5>5</b></a>",
                                                   "<a><b c='1' c='2'>5</b></a>",
                                                   "<a><b>5</b><1/></a>"};
    if (!dice.Percent(5)) return dice.Pick(texts);
    std::string deep;
    for (int i = 0; i < kFarTooDeep; i++)
        deep += "<a>";
    deep += "5";
    for (int i = 0; i < kFarTooDeep; i++)
        deep += "</a>";
    return deep;
}

}  // namespace model
