#pragma once

#include "platform/common/Export.h"

/// The host application's settings store, directories and code-page conversions, as the plug-in calls them.
///
/// Threads:   every function may be called from any thread at any time.
/// Ownership: buffers belong to the caller; nothing returned has to be freed.
/// Units:     text is UTF-16 in host byte order, NUL-terminated; lengths and sizes count 16-bit units (bytes
///            for narrow text) and never the terminator. A buffer of `size` units plus one for the
///            terminator is expected, unless said otherwise.
/// Errors:    a failure shows as length 0, or false; nothing throws.
struct NETINFO_PLATFORM_API CGlobalFunction
{
    /// Reads the setting `key` of `section`. With a null buffer and size 0 returns the value's length; 0 when
    /// there is no such setting. Otherwise copies at most `size` units, whole characters, and a terminator;
    /// returns the number of units copied. The user's file DataUsageLimit.ini comes first, key by key, then
    /// the module's; a change by hand is seen within two seconds.
    static int GetSetting(const unsigned short* section, const unsigned short* key, unsigned short* buffer,
                          int size);

    /// Stores `value` under `key` of `section` in the user's settings file, seen at once; false, changing
    /// nothing, if it could not be written or would not read back the same, as with a line break in it.
    static bool SetSetting(const unsigned short* section, const unsigned short* key,
                           const unsigned short* value);

    /// The directory that holds the user's data file, ending with '/'; to open a file there, encode its path
    /// into code page 0. It exists afterwards, unless it cannot be made, which is traced. Writes at most
    /// `size` units, the terminator included, and returns the length; 0 when the user has no home directory
    /// either. With a null buffer returns the length.
    static int GetUserDataDirectory(unsigned short* buffer, int size);

    /// The directory of the loaded module, ending with '/'. With a null buffer and length 0 returns the
    /// length; otherwise copies at most `length` units and a terminator.
    static int GetModuleDirectory(unsigned short* buffer, int length);

    /// The operating-system type code: 0 on Linux unless the setting "platform"/"ostype" says otherwise.
    static int GetOSType();

    /// Decodes `s` from code page `nCodePage` (0 the locale's, 65001 UTF-8, N the converter's "CPN"). With a
    /// null buffer and size 0 returns the length. What cannot be decoded becomes U+FFFD.
    static int MultiByteToWideChar(const char* s, unsigned short* buffer, int size, int nCodePage);

    /// Encodes `s` into code page `nCodePage`. With a null buffer and size 0 returns the length in bytes.
    /// What cannot be encoded becomes '?'.
    static int WideCharToMultiByte(const unsigned short* s, char* buffer, int size, int nCodePage);
};
