#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <random>
#include <utility>

#include "tests/xml/IndexedMarkup.h"

using nettest::IndexedMarkup;

namespace {

/// What the document should say, kept as a tree.
struct Node
{
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::string data;
    bool dataKnown = true;  ///< not once there have been children: their line ends stay behind them
    Node* parent = nullptr;
    std::vector<std::unique_ptr<Node>> children;

    std::size_t Place() const
    {
        const auto& siblings = parent->children;
        const auto found = std::find_if(siblings.begin(), siblings.end(),
                                        [&](const auto& sibling) { return sibling.get() == this; });
        return static_cast<std::size_t>(found - siblings.begin());
    }
};

/// Makes the same random edits to a document and to a tree, and compares them after each.
class Editor
{
public:
    Editor(unsigned int seed, const char* text) : m_random(seed), m_doc(text)
    {
        EXPECT_TRUE(m_doc.FindElem());
        m_root.name = m_doc.GetTagName();
        m_root.dataKnown = false;
        m_nodes.push_back(&m_root);
    }

    void Step()
    {
        Node& node = *m_nodes[Below(m_nodes.size())];
        MoveTo(node);
        switch (Below(m_nodes.size() > 40 ? 10 : 8)) {
            case 0:
            case 1:
            case 2:
                SetAttribute(node);
                break;
            case 3:
                SetData(node);
                break;
            case 4:
                AddChild(node, false);
                break;
            case 5:
                AddChild(node, true);
                break;
            case 6:
                AddSibling(node, false);
                break;
            case 7:
                AddSibling(node, true);
                break;
            default:
                Remove(node);
                break;
        }
    }

    void Check()
    {
        ASSERT_EQ(m_doc.IndexFault(), "") << m_doc.GetDoc();
        ASSERT_EQ(m_doc.Elements(), IndexedMarkup(m_doc.GetDoc().c_str()).Elements()) << m_doc.GetDoc();
        CMarkupSTL reader = m_doc;
        reader.ResetPos();
        ASSERT_TRUE(reader.FindElem());
        Compare(reader, m_root);
        ASSERT_FALSE(reader.FindElem());
    }

private:
    std::size_t Below(std::size_t count) { return m_random() % count; }

    std::string Word()
    {
        std::string word(1, "abxy"[Below(4)]);
        for (std::size_t length = Below(5); length > 0; --length)
            word += "abxy_1\xC3"[Below(7)];
        return word;
    }

    std::string Value()
    {
        static constexpr std::string_view PIECES[] = {"1",  "<", ">",  "&",    "\"",   "'",     " ",  "\r\n",
                                                      "lt", ";", "]]", "&lt;", "text", "&#65;", "/>", "\xFF"};
        std::string value;
        for (std::size_t length = Below(6); length > 0; --length)
            value += PIECES[Below(std::size(PIECES))];
        return value;
    }

    void MoveTo(const Node& node)
    {
        std::vector<const Node*> path;
        for (const Node* at = &node; at; at = at->parent)
            path.push_back(at);
        m_doc.ResetPos();
        ASSERT_TRUE(m_doc.FindElem());
        for (auto at = path.rbegin() + 1; at != path.rend(); ++at) {
            ASSERT_TRUE(m_doc.IntoElem());
            for (std::size_t i = 0; i <= (*at)->Place(); ++i)
                ASSERT_TRUE(m_doc.FindElem());
        }
    }

    void SetAttribute(Node& node)
    {
        const bool fresh = node.attributes.empty() || Below(2) == 0;
        const std::string name = fresh ? Word() : node.attributes[Below(node.attributes.size())].first;
        const std::string value = Value();
        EXPECT_TRUE(m_doc.SetAttrib(name.c_str(), value.c_str()));
        EXPECT_EQ(m_doc.GetAttrib(name.c_str()), value);

        const auto existing = std::find_if(node.attributes.begin(), node.attributes.end(),
                                           [&](const auto& attribute) { return attribute.first == name; });
        if (existing == node.attributes.end()) {
            node.attributes.emplace_back(name, value);
        } else {
            existing->second = value;
        }
    }

    void SetData(Node& node)
    {
        const std::string value = Value();
        const bool possible = node.children.empty();
        EXPECT_EQ(m_doc.SetData(value.c_str(), static_cast<int>(Below(2))), possible);
        if (!possible) return;
        node.data = value;
        node.dataKnown = true;
    }

    std::unique_ptr<Node> NewNode(Node& parent)
    {
        auto node = std::make_unique<Node>();
        node->name = Word();
        node->data = Value();
        node->parent = &parent;
        parent.dataKnown = false;
        m_nodes.push_back(node.get());
        return node;
    }

    static void Put(std::unique_ptr<Node> node, std::size_t place)
    {
        auto& siblings = node->parent->children;
        siblings.insert(siblings.begin() + static_cast<std::ptrdiff_t>(place), std::move(node));
    }

    void AddChild(Node& parent, bool insert)
    {
        auto node = NewNode(parent);
        const std::size_t count = parent.children.size();
        std::size_t place = insert ? 0 : count;
        if (count && Below(2)) {
            const std::size_t reference = Below(count);
            for (std::size_t i = 0; i <= reference; ++i)
                EXPECT_TRUE(m_doc.FindChildElem());
            place = insert ? reference : reference + 1;
        }
        const char* const name = node->name.c_str();
        const char* const data = node->data.c_str();
        EXPECT_TRUE(insert ? m_doc.InsertChildElem(name, data) : m_doc.AddChildElem(name, data));
        EXPECT_EQ(m_doc.GetChildTagName(), node->name);
        EXPECT_EQ(m_doc.GetChildData(), node->data);
        Put(std::move(node), place);
    }

    void AddSibling(Node& sibling, bool insert)
    {
        if (!sibling.parent) return;
        auto node = NewNode(*sibling.parent);
        const std::size_t place = sibling.Place() + (insert ? 0 : 1);
        const char* const name = node->name.c_str();
        const char* const data = node->data.c_str();
        EXPECT_TRUE(insert ? m_doc.InsertElem(name, data) : m_doc.AddElem(name, data));
        EXPECT_EQ(m_doc.GetTagName(), node->name);
        EXPECT_EQ(m_doc.GetData(), node->data);
        Put(std::move(node), place);
    }

    void Remove(Node& node)
    {
        if (!node.parent) return;
        const std::size_t place = node.Place();
        auto& siblings = node.parent->children;
        EXPECT_TRUE(m_doc.RemoveElem());
        EXPECT_EQ(m_doc.GetTagName(), place ? siblings[place - 1]->name : "");

        siblings.erase(siblings.begin() + static_cast<std::ptrdiff_t>(place));
        m_nodes.clear();
        Collect(m_root);
    }

    void Collect(Node& node)
    {
        m_nodes.push_back(&node);
        for (const auto& child : node.children)
            Collect(*child);
    }

    static void Compare(CMarkupSTL& reader, const Node& node)
    {
        EXPECT_EQ(reader.GetTagName(), node.name);
        std::vector<AttribKey> keys;
        for (const auto& attribute : node.attributes)
            keys.emplace_back(attribute.first);
        std::shuffle(keys.begin(), keys.end(), std::minstd_rand(static_cast<unsigned int>(keys.size())));
        keys.emplace_back("missing");
        std::vector<std::string_view> values(keys.size());
        EXPECT_TRUE(reader.GetAttribs(keys, values));
        for (std::size_t i = 0; i < keys.size(); ++i)
            EXPECT_EQ(CMarkupSTL::Resolved(values[i]), reader.GetAttrib(std::string(keys[i].Name()).c_str()));
        for (std::size_t i = 0; i < node.attributes.size(); ++i) {
            EXPECT_EQ(reader.GetAttribName(static_cast<int>(i)), node.attributes[i].first);
            EXPECT_EQ(reader.GetAttrib(node.attributes[i].first.c_str()), node.attributes[i].second);
        }
        EXPECT_EQ(reader.GetAttribName(static_cast<int>(node.attributes.size())), "");
        if (node.children.empty() && node.dataKnown) {
            EXPECT_EQ(reader.GetData(), node.data);
        }

        EXPECT_TRUE(reader.IntoElem());
        for (const auto& child : node.children) {
            EXPECT_TRUE(reader.FindElem());
            Compare(reader, *child);
        }
        EXPECT_FALSE(reader.FindElem());
        EXPECT_TRUE(reader.OutOfElem());
    }

    std::mt19937 m_random;
    IndexedMarkup m_doc;
    Node m_root;
    std::vector<Node*> m_nodes;  ///< every node of the tree
};

}  // namespace

TEST(MarkupRandomEdit, KeepsIndexTextAndTreeTheSame)
{
    for (const char* text : {"<xml>\r\n</xml>\r\n", "<xml/>", "<?xml?><xml></xml><!-- -->"}) {
        for (unsigned int seed = 0; seed < 6; ++seed) {
            Editor editor(seed, text);
            for (int step = 0; step < 200; ++step) {
                SCOPED_TRACE(testing::Message() << text << " seed " << seed << " step " << step);
                editor.Step();
                editor.Check();
                if (testing::Test::HasFailure()) return;
            }
        }
    }
}
