#include "xml/MarkupSTL.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/files/WholeFile.h"

CMarkupSTL::CMarkupSTL() : CMarkupSTL(nullptr) {}

CMarkupSTL::CMarkupSTL(const char* text) { SetDoc(text); }

bool CMarkupSTL::SetDoc(const char* text)
{
    std::string_view view = x_View(text);
    if (view.size() > MAX_LENGTH) view = {};
    x_SizeIndex(view.size());
    char* const room = m_text.Prepare(static_cast<int>(view.size()));
    std::copy(view.begin(), view.end(), room);
    return x_ParseText();
}

bool CMarkupSTL::Load(const char* path)
{
    GapText text;
    const auto room = [&text](std::size_t size) { return text.Prepare(static_cast<int>(size)); };
    if (path && ReadFileWhole(path, MAX_LENGTH, room)) {
        x_SizeIndex(static_cast<std::size_t>(text.Size()));
        m_text = std::move(text);
        if (x_ParseText()) {
            // The document is text; a NUL ends it. There is none in what the parser has gone through.
            const int end = x_Pos(m_vecPos[0].firstChild).endRight + 1;
            m_text.Truncate(end + static_cast<int>(std::strlen(m_text.Data() + end)));
            return true;
        }
    }
    SetDoc(nullptr);
    return false;
}

bool CMarkupSTL::Save(const char* path) const
{
    return path && ReplaceFileWhole(path, {m_text.InFrontOfGap(), m_text.BehindGap()});
}

bool CMarkupSTL::IsWellFormed() const { return !m_vecPos.empty() && m_vecPos[0].firstChild != 0; }

std::string CMarkupSTL::GetDoc() const
{
    std::string doc;
    doc.reserve(static_cast<std::size_t>(m_text.Size()));
    doc += m_text.InFrontOfGap();
    doc += m_text.BehindGap();
    return doc;
}

std::string CMarkupSTL::GetError() const { return m_strError; }

void CMarkupSTL::x_SizeIndex(std::size_t length)
{
    constexpr std::size_t TEXT_PER_ELEMENT = 64;  // bytes; what an element takes in a common document

    m_vecPos.reserve(length / TEXT_PER_ELEMENT + 1);
}

bool CMarkupSTL::x_ParseText()
{
    m_vecPos.resize(1);
    m_vecPos[0] = {};
    m_vecPos[0].endLeft = m_text.Begin();
    m_nFreePos = 1;
    m_mapSavedPos.clear();
    ResetPos();
    if (m_text.Data()[m_text.Begin()] == '\0') return false;

    const int element = x_ParseElem(0);
    if (element > 0) {
        m_vecPos[0].firstChild = element;
        x_Pos(element).previous = element;
        return true;
    }
    m_vecPos[0] = {};
    m_nFreePos = 1;
    return false;
}

bool CMarkupSTL::FindElem(const char* name)
{
    if (m_vecPos.empty()) return false;
    const int found = x_FindElem(m_nParentPos, m_nMainPos, name);
    if (!found) return false;
    x_SetPos(m_nParentPos, found, 0);  // storing a parent looked up anew would hold up the next step
    return true;
}

bool CMarkupSTL::FindLastElem(const char* name)
{
    const int found = x_FindLastElem(m_nParentPos, m_nMainPos, name);
    if (!found) return false;
    x_SetPos(m_nParentPos, found, 0);
    return true;
}

bool CMarkupSTL::FindChildElem(const char* name)
{
    if (!m_nMainPos && !FindElem()) return false;
    const int found = x_FindElem(m_nMainPos, m_nChildPos, name);
    if (!found) return false;
    x_SetPos(m_nParentPos, m_nMainPos, found);
    return true;
}

bool CMarkupSTL::IntoElem()
{
    if (!x_IsReached(m_nMainPos)) return false;
    x_SetPos(m_nMainPos, m_nChildPos, 0);
    return true;
}

bool CMarkupSTL::OutOfElem()
{
    if (!m_nParentPos) return false;
    x_SetPos(x_Pos(m_nParentPos).parent, m_nParentPos, m_nMainPos);
    return true;
}

void CMarkupSTL::ResetPos() { x_SetPos(0, 0, 0); }

void CMarkupSTL::ResetMainPos() { x_SetPos(m_nParentPos, 0, 0); }

void CMarkupSTL::ResetChildPos() { x_SetPos(m_nParentPos, m_nMainPos, 0); }

bool CMarkupSTL::SavePos(const char* name)
{
    if (!name) return false;
    m_mapSavedPos[name] = {m_nParentPos, m_nMainPos, m_nChildPos};
    return true;
}

bool CMarkupSTL::RestorePos(const char* name)
{
    if (!name) return false;
    const auto saved = m_mapSavedPos.find(name);
    if (saved == m_mapSavedPos.end()) return false;
    x_SetPos(saved->second.parent, saved->second.main, saved->second.child);
    return true;
}

void CMarkupSTL::x_SetPos(int parent, int main, int child)
{
    m_nParentPos = parent;
    m_nMainPos = main;
    m_nChildPos = child;
    m_nNodeType = main ? NODE_ELEMENT : NODE_NONE;
}

// Records are not used again before the next document, so a position saved on a removed element would lead
// into text that is no longer there; an edit from it would write into whatever stands there now.
void CMarkupSTL::x_ForgetSaved(int element)
{
    std::erase_if(m_mapSavedPos, [&](const auto& entry) {
        const SavedPos& saved = entry.second;
        int pos = saved.child ? saved.child : (saved.main ? saved.main : saved.parent);
        while (pos && pos != element)
            pos = x_Pos(pos).parent;
        return pos == element;
    });
}
