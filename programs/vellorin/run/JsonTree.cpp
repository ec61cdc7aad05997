#include "JsonTree.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kDeepest = 16; // entries have 4; who goes to the end of a tree goes down all of it

/// Takes what the library's parser finds, from the outside to the inside.
class TreeBuilder final : public nlohmann::json_sax<Json> {
public:
    bool null() override { return add({}); }
    bool boolean(bool) override { return add({}); }
    bool number_integer(number_integer_t) override { return add({}); } // a negative one
    bool number_float(number_float_t, const string_t&) override { return add({}); }
    bool binary(binary_t&) override { return add({}); }
    bool number_unsigned(number_unsigned_t value) override
    {
        JsonTree tree;
        tree.kind = JsonTree::Kind::Number;
        tree.number = value;
        return add(std::move(tree));
    }
    bool string(string_t& value) override
    {
        JsonTree tree;
        tree.kind = JsonTree::Kind::Text;
        tree.text = std::move(value);
        return add(std::move(tree));
    }
    bool start_array(std::size_t) override { return begin(JsonTree::Kind::List); }
    bool start_object(std::size_t) override { return begin(JsonTree::Kind::Object); }
    bool end_array() override { return end(); }
    bool end_object() override { return end(); }
    bool key(string_t& name) override
    {
        open.back().names.push_back(std::move(name));
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

    JsonTree root;

private:
    bool begin(JsonTree::Kind kind)
    {
        if (open.size() == kDeepest)
            return false;
        open.emplace_back().kind = kind;
        return true;
    }

    bool end()
    {
        JsonTree whole = std::move(open.back());
        open.pop_back();
        return add(std::move(whole));
    }

    bool add(JsonTree&& value)
    {
        if (open.empty())
            root = std::move(value);
        else
            open.back().elements.push_back(std::move(value));
        return true;
    }

    std::vector<JsonTree> open; // lists and objects that have begun
};

} // namespace

std::optional<JsonTree> JsonTree::ofText(const std::string& text)
{
    TreeBuilder builder;
    if (!Json::sax_parse(text, &builder))
        return std::nullopt;
    return std::move(builder.root);
}

const JsonTree* JsonTree::member(const std::string& name) const
{
    const auto found = std::find(names.begin(), names.end(), name);
    return found != names.end() ? &elements[static_cast<std::size_t>(found - names.begin())] : nullptr;
}
