// Any text as a document, and any edits of it.
//
// Input: the text up to a NUL, then operations, each a byte with what it needs behind it.

#include <array>
#include <cstdint>
#include <optional>

#include "fuzz/Input.h"
#include "tests/support/TempDir.h"
#include "tests/xml/IndexedMarkup.h"

using nettest::IndexedMarkup;
using nettest::Input;
using nettest::Require;
using nettest::RequireNone;
using nettest::TempDir;

namespace {

/// A text as callers give it: absent, one of the usual ones, a long one, or any.
class Argument
{
public:
    Argument(Input& input, const char* const* usual, unsigned int count)
    {
        constexpr unsigned int LONG = 255;

        const unsigned int choice = input.Byte();
        if (choice < count) {
            m_usual = usual[choice];
        } else if (choice == LONG) {
            m_own = std::string(32 * static_cast<std::size_t>(input.Byte()), 'x');
        } else {
            m_own = input.Text();
        }
    }

    const char* Text() const { return m_own ? m_own->c_str() : m_usual; }
    std::string Value() const { return Text() ? Text() : ""; }

private:
    const char* m_usual = nullptr;
    std::optional<std::string> m_own;
};

Argument Name(Input& input)
{
    static constexpr std::array<const char*, 12> NAMES{
        nullptr, "", "a", "b", "item", "n", "time", "m", "a[1]", "<", "\xFF", "aNameOfMoreThanSixteenBytes"};
    return {input, NAMES.data(), NAMES.size()};
}

Argument Value(Input& input)
{
    static constexpr std::array<const char*, 9> VALUES{
        nullptr, "", "1", "18446744073709551615", "<&>'\"", "text", "]]>", "&#x41;&lt;", "\xFF\xFE"};
    return {input, VALUES.data(), VALUES.size()};
}

void ReadEverything(const IndexedMarkup& doc, const char* name)
{
    doc.GetTagName();
    doc.GetChildTagName();
    doc.GetData();
    doc.GetChildData();
    doc.GetAttrib(name);
    doc.GetChildAttrib(name);
    for (int n = -1; n < 4; ++n)
        doc.GetAttribName(n);
}

/// Several attributes looked up at once read as they do one by one.
void LookupsAgree(const IndexedMarkup& doc)
{
    static constexpr std::array<const char*, 5> NAMES{"type", "n", "time", "aNameOfMoreThanSixteenBytes",
                                                      "m"};
    static const std::array<AttribKey, NAMES.size()> keys{AttribKey(NAMES[0]), AttribKey(NAMES[1]),
                                                          AttribKey(NAMES[2]), AttribKey(NAMES[3]),
                                                          AttribKey(NAMES[4])};
    std::array<std::string_view, NAMES.size()> values;
    if (!doc.GetAttribs(keys, values)) return;
    for (std::size_t i = 0; i < NAMES.size(); ++i)
        Require(IndexedMarkup::Resolved(values[i]) == doc.GetAttrib(NAMES[i]),
                "attributes read alike alone and together");
}

/// An element that was just made, at the main position or as a child.
void AddedReadsBack(bool added, const std::string& name, const std::string& element, const std::string& value,
                    const std::string& data)
{
    if (added) Require(name == element && value == data, "a new element reads as it was made");
}

/// A new element of the document, with attributes set and set again: its tag is our own.
void AddWithAttributes(IndexedMarkup& doc, Input& input)
{
    const bool child = input.Below(2) != 0;
    if (!(child ? doc.AddChildElem("item") : doc.AddElem("item"))) return;
    std::array<std::string, 3> names;
    std::array<std::string, 3> values;
    for (unsigned int i = 0; i < 4; ++i) {
        const Argument value = Value(input);
        names[i % 3] = std::string(1, "xyz"[i % 3]) + std::string(input.Below(3), 'n');
        if (i == 3) names[0] = "x";
        values[i % 3] = value.Value();
        const char* const name = names[i % 3].c_str();
        Require(child ? doc.SetChildAttrib(name, value.Text()) : doc.SetAttrib(name, value.Text()),
                "an element of ours takes any attribute");
    }
    for (unsigned int i = 0; i < 3; ++i) {
        const char* const name = names[i].c_str();
        Require((child ? doc.GetChildAttrib(name) : doc.GetAttrib(name)) == values[i],
                "an attribute reads as it was set");
    }
}

void SaveAndLoad(IndexedMarkup& doc)
{
    static const TempDir folder;
    const std::string path = folder.File("document");
    Require(doc.Save(path.c_str()), "a document can be saved");
    IndexedMarkup loaded;
    Require(loaded.Load(path.c_str()) == IndexedMarkup(doc.GetDoc().c_str()).IsWellFormed(),
            "a file parses as its text does");
    if (!loaded.IsWellFormed()) return;
    Require(loaded.GetDoc() == doc.GetDoc(), "a file holds the document to the byte");
    doc = loaded;
}

void DoAnything(IndexedMarkup& doc, Input& input)
{
    const unsigned int operation = input.Below(26);
    switch (operation) {
        case 0:
            doc.FindElem(Name(input).Text());
            return;
        case 1:
            doc.FindElem();
            return;
        case 2:
            doc.FindChildElem(Name(input).Text());
            return;
        case 3:
            doc.FindChildElem();
            return;
        case 4:
            doc.IntoElem();
            return;
        case 5:
            doc.OutOfElem();
            return;
        case 6:
            doc.ResetPos();
            return;
        case 7:
            doc.ResetMainPos();
            return;
        case 8:
            doc.ResetChildPos();
            return;
        case 9:
            doc.SavePos(Name(input).Text());
            return;
        case 10:
            doc.RestorePos(Name(input).Text());
            return;
        case 11:
        case 12: {
            const Argument name = Name(input);
            const Argument data = Value(input);
            const bool added = operation == 11 ? doc.AddElem(name.Text(), data.Text())
                                               : doc.InsertElem(name.Text(), data.Text());
            AddedReadsBack(added, name.Value(), doc.GetTagName(), doc.GetData(), data.Value());
            return;
        }
        case 13:
        case 14: {
            const Argument name = Name(input);
            const Argument data = Value(input);
            const bool added = operation == 13 ? doc.AddChildElem(name.Text(), data.Text())
                                               : doc.InsertChildElem(name.Text(), data.Text());
            AddedReadsBack(added, name.Value(), doc.GetChildTagName(), doc.GetChildData(), data.Value());
            return;
        }
        case 15:
            doc.AddSubDoc(input.Text().c_str());
            return;
        case 16: {
            const Argument name = Name(input);
            doc.SetAttrib(name.Text(), Value(input).Text());
            return;
        }
        case 17: {
            const Argument name = Name(input);
            doc.SetChildAttrib(name.Text(), Value(input).Text());
            return;
        }
        case 18:
            doc.SetChildAttrib(Name(input).Text(), static_cast<int>(input.Number(4)));
            return;
        case 19: {
            const Argument data = Value(input);
            const bool set = doc.SetData(data.Text(), static_cast<int>(input.Below(2)));
            if (set) Require(doc.GetData() == data.Value(), "data reads as it was set");
            return;
        }
        case 20: {
            const Argument data = Value(input);
            const bool set = doc.SetChildData(data.Text(), static_cast<int>(input.Below(2)));
            if (set) Require(doc.GetChildData() == data.Value(), "data of a child reads as it was set");
            return;
        }
        case 21:
            doc.RemoveElem();
            return;
        case 22:
            doc.RemoveChildElem();
            return;
        case 23:
            AddWithAttributes(doc, input);
            return;
        case 24:
            SaveAndLoad(doc);
            return;
        default:
            doc = IndexedMarkup(doc);
            return;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr int MOST_OPERATIONS = 40;

    Input input(data, size);
    const std::string text = input.Text();
    IndexedMarkup doc(text.c_str());
    Require(doc.GetDoc() == text, "a text is kept as it is");
    Require(doc.IsWellFormed() || doc.Elements().empty(), "what does not parse has no elements");
    RequireNone(doc.IndexFault());

    bool parses = doc.IsWellFormed();
    for (int count = 0; count < MOST_OPERATIONS && !input.AtEnd(); ++count) {
        DoAnything(doc, input);
        ReadEverything(doc, "n");
        LookupsAgree(doc);
        RequireNone(doc.IndexFault());
        parses = parses && doc.IsWellFormed();  // what follows the document element is not looked at
        if (!parses) continue;
        const std::string output = doc.GetDoc();
        const IndexedMarkup again(output.c_str());
        Require(again.Elements() == doc.Elements(), "the text parses to the elements that the index has");
        Require(again.GetDoc() == output, "and is written as it was read");
    }
    return 0;
}
