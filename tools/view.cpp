#include "view.h"

#include <cstdio>

namespace pxtool {

Node Node::text(const char *value) { return value == nullptr ? Node() : text(std::string(value)); }

Node Node::text(const std::string &value) {
    Node node;
    node.kind_ = Kind::text;
    node.scalar_ = value;
    return node;
}

Node Node::number(long long value) {
    Node node;
    node.kind_ = Kind::number;
    node.scalar_ = std::to_string(value);
    return node;
}

Node Node::number(unsigned long long value) {
    Node node;
    node.kind_ = Kind::number;
    node.scalar_ = std::to_string(value);
    return node;
}

Node Node::boolean(bool value) {
    Node node;
    node.kind_ = Kind::boolean;
    node.scalar_ = value ? "true" : "false";
    return node;
}

Node Node::object() {
    Node node;
    node.kind_ = Kind::object;
    return node;
}

Node Node::line() {
    Node node = object();
    node.style_ = Style::line;
    return node;
}

Node Node::tally() {
    Node node = object();
    node.style_ = Style::tally;
    return node;
}

Node Node::list() {
    Node node;
    node.kind_ = Kind::list;
    return node;
}

Node &Node::add(const char *key, Node value) {
    keys_.emplace_back(key);
    items_.push_back(std::move(value));
    return *this;
}

Node &Node::push(Node value) {
    items_.push_back(std::move(value));
    return *this;
}

std::string printable(const std::string &text) {
    std::string out;
    for (unsigned char c : text) {
        if (c < 0x20 || c == 0x7f) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
            out += escaped;
        } else {
            if (c == '\\') { out += '\\'; }
            out += static_cast<char>(c);
        }
    }
    return out;
}

namespace {

// The length of the well-formed UTF-8 sequence at text[i], or, when it is
// ill-formed, minus the length of its maximal subpart (at least 1).
long utf8_sequence(const std::string &text, size_t i) {
    unsigned char lead = static_cast<unsigned char>(text[i]);
    if (lead < 0x80) { return 1; }
    size_t follow = 0;
    unsigned char low = 0x80, high = 0xbf;
    if (lead >= 0xc2 && lead <= 0xdf) {
        follow = 1;
    } else if (lead >= 0xe0 && lead <= 0xef) {
        follow = 2;
    } else if (lead >= 0xf0 && lead <= 0xf4) {
        follow = 3;
    } else {
        return -1;
    }
    if (lead == 0xe0) { low = 0xa0; }
    if (lead == 0xed) { high = 0x9f; }
    if (lead == 0xf0) { low = 0x90; }
    if (lead == 0xf4) { high = 0x8f; }
    for (size_t n = 1; n <= follow; ++n) {
        if (i + n >= text.size()) { return -static_cast<long>(n); }
        unsigned char c = static_cast<unsigned char>(text[i + n]);
        if (c < low || c > high) { return -static_cast<long>(n); }
        low = 0x80;
        high = 0xbf;
    }
    return static_cast<long>(follow + 1);
}

}  // namespace

std::string json_string(const std::string &text) {
    std::string out = "\"";
    for (size_t i = 0; i < text.size();) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        long length = utf8_sequence(text, i);
        if (length < 0) {
            out += "\xef\xbf\xbd";
            i += static_cast<size_t>(-length);
            continue;
        }
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (c < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else {
            out.append(text, i, static_cast<size_t>(length));
        }
        i += static_cast<size_t>(length);
    }
    return out + "\"";
}

class Renderer {
  public:
    static void json(std::string &out, const Node &node, size_t depth) {
        switch (node.kind_) {
        case Node::Kind::null: out += "null"; return;
        case Node::Kind::text: out += json_string(node.scalar_); return;
        case Node::Kind::number:
        case Node::Kind::boolean: out += node.scalar_; return;
        default: break;
        }
        bool object = node.kind_ == Node::Kind::object;
        out += object ? '{' : '[';
        for (size_t i = 0; i < node.items_.size(); ++i) {
            out += (i == 0 ? "\n" : ",\n") + std::string(2 * depth + 2, ' ');
            if (object) { out += json_string(node.keys_[i]) + ": "; }
            json(out, node.items_[i], depth + 1);
        }
        if (!node.items_.empty()) { out += "\n" + std::string(2 * depth, ' '); }
        out += object ? '}' : ']';
    }

    // The fields of an object, each line started by lead (the first by first).
    static void text_fields(std::string &out, const Node &node, const std::string &first, const std::string &lead) {
        for (size_t i = 0; i < node.items_.size(); ++i) {
            text_field(out, i == 0 ? first : lead, node.keys_[i], node.items_[i], lead.size());
        }
    }

    // A top-level node: an object, or a list of them apart by blank lines.
    static void text(std::string &out, const Node &node) {
        if (node.kind_ != Node::Kind::list) {
            if (one_line(node)) {
                out += line_text(node) + "\n";
            } else if (node.kind_ == Node::Kind::object) {
                text_fields(out, node, "", "");
            } else {
                out += scalar_text(node) + "\n";
            }
            return;
        }
        for (size_t i = 0; i < node.items_.size(); ++i) {
            if (i > 0 && node.items_[i].kind_ == Node::Kind::object && !one_line(node.items_[i])) { out += "\n"; }
            text(out, node.items_[i]);
        }
    }

  private:
    static std::string scalar_text(const Node &node) {
        return node.kind_ == Node::Kind::null ? "(none)" : printable(node.scalar_);
    }

    static bool one_line(const Node &node) { return node.style_ != Node::Style::block; }

    static std::string line_text(const Node &node) {
        std::string line;
        for (size_t i = 0; i < node.items_.size(); ++i) {
            if (node.items_[i].kind_ == Node::Kind::null) { continue; }
            if (node.style_ == Node::Style::tally) {
                line += (line.empty() ? "" : ", ") + scalar_text(node.items_[i]) + " " + node.keys_[i];
                continue;
            }
            if (!line.empty()) { line += i == 1 || node.keys_[i] == "reason" ? ": " : " "; }
            line += scalar_text(node.items_[i]);
            if (node.items_[i].kind_ == Node::Kind::number) { line += " " + node.keys_[i]; }
        }
        return line;
    }

    // A top-level field shown without its key: a tally, or a list of lines.
    static bool stands_alone(const Node &value) {
        if (one_line(value)) { return true; }
        if (value.kind_ != Node::Kind::list || value.items_.empty()) { return false; }
        for (const Node &item : value.items_) {
            if (!one_line(item)) { return false; }
        }
        return true;
    }

    static void text_field(std::string &out, const std::string &lead, const std::string &key, const Node &value,
                           size_t indent) {
        if (indent == 0 && stands_alone(value)) {
            if (one_line(value)) {
                out += line_text(value) + "\n";
            } else {
                for (const Node &item : value.items_) { out += line_text(item) + "\n"; }
            }
            return;
        }
        out += lead + key + ":";
        bool nested = value.kind_ == Node::Kind::object || value.kind_ == Node::Kind::list;
        if (!nested || value.items_.empty()) {
            out += " " + (nested ? std::string("(none)") : scalar_text(value)) + "\n";
            return;
        }
        out += "\n";
        std::string inner(indent + 2, ' ');
        if (value.kind_ == Node::Kind::object) {
            if (one_line(value)) {
                out += inner + line_text(value) + "\n";
            } else {
                text_fields(out, value, inner, inner);
            }
            return;
        }
        for (const Node &item : value.items_) {
            if (item.kind_ == Node::Kind::object && !one_line(item)) {
                text_fields(out, item, inner + "- ", std::string(indent + 4, ' '));
            } else if (one_line(item)) {
                out += inner + "- " + line_text(item) + "\n";
            } else {
                out += inner + "- " + scalar_text(item) + "\n";
            }
        }
    }
};

void show(const Node &node, bool as_json) {
    std::string out;
    if (as_json) {
        Renderer::json(out, node, 0);
        out += "\n";
    } else {
        Renderer::text(out, node);
    }
    std::fwrite(out.data(), 1, out.size(), stdout);
}

}  // namespace pxtool
