#pragma once

#include <string>

#include "xml/MarkupSTL.h"

/// How the store reads and writes its document. Every function works at the document's current position and
/// says where it leaves it; the caller holds the store lock.

/// True when `text` has digits and nothing else.
bool IsNumber(const std::string& text);

/// The digits of `text` as a number: 0 when it is empty or holds anything else, and the largest signed 64-bit
/// number when it is too large for one.
unsigned long long ToNumber(const std::string& text);

/// An attribute of the current element as a number, read like ToNumber.
unsigned long long ReadNumber(const CMarkupSTL& doc, const char* attribute);

void WriteNumber(CMarkupSTL& doc, const char* attribute, unsigned long long value);

/// Moves on to the next sibling called `element`, adding one behind the current element (or as the last of
/// its level, if none is current) when there is none; false if that fails.
bool FindOrAdd(CMarkupSTL& doc, const char* element);

/// Moves on to the last of the following siblings called `element`; false, staying, if there is none.
bool FindLast(CMarkupSTL& doc, const char* element);

/// Moves from anywhere into the root, which is added if it is missing; false if the document has another.
bool EnterRoot(CMarkupSTL& doc);

/// Moves from anywhere into the list of connection records, adding nothing; false, somewhere above it, if
/// there is none.
bool EnterRecordList(CMarkupSTL& doc);

/// Lets the record that the document stands on start now, with nothing counted.
void StartRecord(CMarkupSTL& doc);

/// The text by which the file names a connection type.
const char* TypeLabel(int nDevice);

/// Moves on to the next `transfer` element of a type; false, on the last one there is, if there is none.
bool FindTransfer(CMarkupSTL& doc, const char* typeLabel);

/// Traces an anomaly (level 2).
void TraceAnomaly(const std::string& text);

/// Traces that an exception ended `function`.
void TraceException(const char* function);
