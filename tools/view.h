// A view: what a command shows about a file, described once as a tree of
// named fields and rendered either as text for people or as JSON for scripts,
// so that the two forms always carry the same fields.
#ifndef PXINFO_TOOL_VIEW_H
#define PXINFO_TOOL_VIEW_H

#include <cstdint>
#include <string>
#include <vector>

namespace pxtool {

class Node {
  public:
    enum class Kind { null, text, number, boolean, object, list };

    Node() = default;
    static Node text(const char *value);  // null when value is null
    static Node text(const std::string &value);
    static Node number(long long value);
    static Node number(unsigned long long value);
    static Node number(int value) { return number(static_cast<long long>(value)); }
    static Node number(unsigned value) { return number(static_cast<unsigned long long>(value)); }
    static Node number(long value) { return number(static_cast<long long>(value)); }
    static Node number(unsigned long value) { return number(static_cast<unsigned long long>(value)); }
    static Node boolean(bool value);
    static Node object();
    // An object that text shows on one line: "first: second third...", a
    // field named "reason" after ": ", a number followed by its key.
    static Node line();
    // An object of counts that text shows as "3 files, 1 damaged".
    static Node tally();
    static Node list();

    // Adds a field to an object; returns the object.
    Node &add(const char *key, Node value);
    // Adds an item to a list; returns the list.
    Node &push(Node value);

  private:
    friend class Renderer;
    enum class Style { block, line, tally };
    Kind kind_ = Kind::null;
    Style style_ = Style::block;
    std::string scalar_;
    std::vector<std::string> keys_;  // of an object, one per item
    std::vector<Node> items_;
};

// Writes the node to standard output: JSON, or text (an object as "key:
// value" lines, nested fields indented, list items after "- "; at the top,
// a list of one-line objects or a tally stands alone, without its key).
void show(const Node &node, bool as_json);

// The text of a string in text output: control characters and backslashes
// escaped as \xNN and \\, everything else unchanged.
std::string printable(const std::string &text);
// The text of a string in JSON, quotes included: valid UTF-8 unchanged,
// control characters, quote and backslash escaped, and each maximal ill-formed
// UTF-8 subsequence replaced by U+FFFD.
std::string json_string(const std::string &text);

}  // namespace pxtool

#endif
