#pragma once

#include <array>
#include <string>
#include <string_view>

#include "xml/MarkupSTL.h"

/// How the store reads and writes its document. Every function works at the document's current position and
/// says where it leaves it; the caller holds the store lock.

/// True when `text` has digits and nothing else.
bool IsNumber(std::string_view text);

/// The digits of `text` as a number: 0 when it is empty or holds anything else, and the largest signed 64-bit
/// number when it is too large for one.
unsigned long long ToNumber(std::string_view text);

/// An attribute of the current element as a number, read like ToNumber.
unsigned long long ReadNumber(const CMarkupSTL& doc, const char* attribute);

void WriteNumber(CMarkupSTL& doc, const char* attribute, unsigned long long value);

/// Moves on to the next sibling called `element`, adding one behind the current element (or as the last of
/// its level, if none is current) when there is none; false if that fails.
bool FindOrAdd(CMarkupSTL& doc, const char* element);

/// Moves from anywhere into the root, which is added if it is missing; false if the document has another.
bool EnterRoot(CMarkupSTL& doc);

/// Moves from anywhere into the list of connection records, adding nothing; false, somewhere above it, if
/// there is none.
bool EnterRecordList(CMarkupSTL& doc);

/// Lets the record that the document stands on start now, with nothing counted.
void StartRecord(CMarkupSTL& doc);

/// Reads the connection records that a document stands on, one after the other.
class RecordReader
{
public:
    enum Attribute
    {
        DEVICE,
        APN,
        START_TIME,
        END_TIME,
        TIME,
        UPLOADED,
        DOWNLOADED,
        UNIT_PRICE,
        FEE,
        COUNT
    };

    explicit RecordReader(const CMarkupSTL& doc) : m_doc(doc) {}

    /// Looks at the record on which the document stands now, at the attributes up to `until` in the order in
    /// which they are written. What follows is of this record until the document is edited.
    void Read(Attribute until);
    /// The same as GetAttrib gives.
    std::string Text(Attribute attribute) const;
    /// The same as ReadNumber gives.
    unsigned long long Number(Attribute attribute) const;

private:
    const CMarkupSTL& m_doc;
    bool m_isPlain = false;
    std::array<std::string_view, COUNT> m_values;
};

/// The text by which the file names a connection type.
const char* TypeLabel(int nDevice);

/// Moves on to the next `transfer` element of a type; false, on the last one there is, if there is none.
bool FindTransfer(CMarkupSTL& doc, const char* typeLabel);

/// Traces an anomaly (level 2).
void TraceAnomaly(const std::string& text);

/// Traces that an exception ended `function`.
void TraceException(const char* function);
