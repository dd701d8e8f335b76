#include "xml/MarkupSTL.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/files/WholeFile.h"

CMarkupSTL::CMarkupSTL() : CMarkupSTL(nullptr) {}

CMarkupSTL::CMarkupSTL(const char* text) { SetDoc(text); }

bool CMarkupSTL::SetDoc(const char* text)
{
    const std::string_view view = x_View(text);
    if (view.size() > MAX_LENGTH) {
        x_SetText({});
        return false;
    }
    return x_SetText(std::string(view));
}

bool CMarkupSTL::Load(const char* path)
{
    std::optional<std::string> text;
    if (path) text = ReadFileWhole(path, MAX_LENGTH);
    if (text) {
        text->resize(std::min(text->find('\0'), text->size()));  // the document is text; a NUL ends it
        if (x_SetText(std::move(*text))) return true;
    }
    x_SetText({});
    return false;
}

bool CMarkupSTL::Save(const char* path) const { return path && ReplaceFileWhole(path, m_strDoc); }

bool CMarkupSTL::IsWellFormed() const { return !m_vecPos.empty() && m_vecPos[0].firstChild != 0; }

std::string CMarkupSTL::GetDoc() const { return m_strDoc; }

std::string CMarkupSTL::GetError() const { return m_strError; }

bool CMarkupSTL::x_SetText(std::string text)
{
    constexpr std::size_t TEXT_PER_ELEMENT = 64;  // bytes; what an element takes in a common document

    if (const std::size_t count = text.size() / TEXT_PER_ELEMENT + 1; m_vecPos.size() < count) {
        m_vecPos.resize(count);
    }
    m_vecPos[0] = {};
    m_nFreePos = 1;
    m_mapSavedPos.clear();
    ResetPos();
    m_strDoc = std::move(text);
    if (m_strDoc.empty()) return false;

    const int element = x_ParseElem(0);
    if (element > 0) {
        m_vecPos[0].firstChild = element;
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
    x_SetPos(x_Pos(found).parent, found, 0);
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
