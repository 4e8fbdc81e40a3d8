/*
 * deskreader: one multi-function counter card reader, over USB HID or a serial port.
 *
 * This header is the whole exported interface and the only place where it is documented.
 *
 * Conventions
 * - Plain C. Names are exported unmangled under the symbol version DESKREADER_2.1. Misspelt names
 *   are part of the interface and stay.
 * - Results are signed 32-bit: 0 is success, a negative number a failure; reads and writes return
 *   byte counts. Three sets of numbers exist: internal ones (negated errno values and -99), API
 *   ones (-1000 and below, returned by RD_ functions, texts by RD_GetErrInfo) and terminal ones (-1
 * to -32 and -99, returned by the functions that name a port).
 * - `char` is text, `unsigned char` is bytes. Hexadecimal text is upper case, two characters a
 * byte, high nibble first. Text that a function writes is not terminated unless its comment says
 * so: clear the buffer first.
 * - The caller owns every buffer. Where no argument carries a buffer's size, the comment says how
 *   many bytes to provide. On failure nothing is written unless the comment says so.
 * - Time limits are seconds in RD_ functions and milliseconds below them; 0 means no limit.
 * - One thread calls at a time. Only RD_Cancel, RD_CancelWait, RD_Reset, RD_Close, RD_DisConnect,
 *   Ovan_Cancel and COMM_cancle are meant for a second thread.
 * - No exception leaves the library and it keeps no thread of its own; hidapi runs one for an open
 *   USB device.
 * - Pointers must not be null unless the comment gives a result for it.
 *
 * Every function of cJSON's public header can also be called through this library: include
 * <cjson/cJSON.h> and link with -ldeskreader alone.
 */
#ifndef DESKREADER_H
#define DESKREADER_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#define DESKREADER_API __attribute__((visibility("default")))
#define DESKREADER_PRINTF(format, first) __attribute__((format(printf, format, first)))

#ifdef __cplusplus
extern "C" {
#endif

/* ==== Support: log ============================================================================
 *
 * A process-wide, append-only text file for the day on which the library was loaded. One message is
 * two appends: a prefix "Info(2024-03-05 09:07:02):" or "Error(...):" in local time, then the text
 * as it was formatted. Each append opens the file, writes, forces it to disk (fsync) and closes it.
 * Any thread may log; messages of several threads may interleave between prefix and text.
 *
 * An append that fails early (-22, -2) keeps the log locked, so the next message of any thread
 * waits for ever: hosts rely on a reader that stops rather than one that works without its log. */

/* Sets the threshold: 0 or less logs nothing, 1 errors, 2 or more also information. Returns 0. */
DESKREADER_API int GSetLogLevel(int iLevel);

/* Sets the log file, at most 259 bytes and a terminator. Returns 0, or -22 for null (the path
 * stays). */
DESKREADER_API int GSetLogFilePath(const char* szPath);

/* Logs information. Returns 0; -22 when the level is below 2, for a null format and for an empty
 * message (whose prefix is written and which leaves the log locked); -99 when nothing could be
 * formatted or the prefix could not be appended. */
DESKREADER_API int GLogI(const char* szFormat, ...) DESKREADER_PRINTF(1, 2);

/* Logs an error, from level 1 on; otherwise as GLogI. */
DESKREADER_API int GLogE(const char* szFormat, ...) DESKREADER_PRINTF(1, 2);

/* Writes one message whatever the level: kind 1 has the prefix "Error(", every other kind "Info(".
 * Returns 0, -22 for a null text, -99 when the prefix could not be appended, otherwise the result
 * of appending the text. */
DESKREADER_API int GDbgPrintStr(int iKind, const char* szText);

/* Formats into storage of exactly the needed size, which the caller frees; *ppOut is null where it
 * could not be had. Returns 0. */
DESKREADER_API int _Safe_vasprintf(char** ppOut, const char* szFormat, va_list args)
    DESKREADER_PRINTF(2, 0);

/* Appends data up to its terminating zero; nLength serves only as the check for 0. Returns 0; -22
 * for a null argument or length 0, -2 when the file cannot be opened: both keep the log locked. */
DESKREADER_API int _GAppendDataToLogFile(const char* szPath, const void* pData, size_t nLength);

/* ==== Support: configuration ==================================================================
 *
 * config.ini beside the library, read afresh on every call. Matching is by prefix and
 * case-sensitive, nothing is trimmed, lines are read in pieces of at most 255 bytes, and a line
 * that begins with ';' is a comment outside of a section's settings. Reading needs write access to
 * the file too: without it every key has its default.
 *
 *   section   key       default  meaning
 *   log       loglevel  1        0 nothing, 1 errors, 2 also information
 *   log       saveday   15       days a daily log is kept, at most 365
 *   devcfg    DevBaud   9600     baud rate of an opened serial reader
 *   devcfg    IdChange  1        switch to identity-card mode: 1 by command, 2 by the ID library
 *   devcfg    IdBaud    9600     baud rate of the identity module; 115200 for mode switches on HID
 *   devcfg    IcBaud    9600     baud rate of the IC module
 *   devcfg    Iccmd     0        IC frame: 0 the IC frame, 1 the Union frame; 1 for some commands
 *   devcfg    devtype   0        HID only: 0 addresses modules by mode id, others use mode id 0 */

/* Set the file and the library's directory, at most 1023 bytes each. Return 0, or -22 for null. */
DESKREADER_API int GSetConfigFilePath(const char* szPath);
DESKREADER_API int GSetDllPath(const char* szPath);

/* Copies the library's directory with its terminator: provide 1024 bytes, iSize is not consulted.
 * Returns 0. */
DESKREADER_API int GGetDllPath(int iSize, char* szOut);

/* Stores the key's decimal value, iDefault when file, section or key is missing or either name is
 * null. A value without digits, and a key's line without '=', give 0. Returns 0. */
DESKREADER_API int GGetConfigInt(const char* szSection, const char* szKey, int iDefault,
                                 int* pnOut);

/* Copies the key's value, or the default when any pointer is null, with a terminator: provide 256
 * bytes or what the default needs, iSize is not consulted. Nothing is written when szOut, or the
 * default that is due, is null. Returns 0. */
DESKREADER_API int GGetConfigString(const char* szSection, const char* szKey, const char* szDefault,
                                    char* szOut, int iSize);

/* Replaces the value of an existing key; a missing file, section or key is not created. Returns 0.
 */
DESKREADER_API int GSetConfigString(const char* szSection, const char* szKey, const char* szValue);

/* The reader and writer themselves, over any file. szOut as in GGetConfigString. Return 0. */
DESKREADER_API int _IniReadValue(const char* szSection, const char* szKey, const char* szDefault,
                                 char* szOut, const char* szPath);
DESKREADER_API int _IniWriteValue(const char* szSection, const char* szKey, const char* szValue,
                                  const char* szPath);

/* ==== Support: directory scan ================================================================= */

/* ==== Support: text forms of bytes ============================================================ */

/* ==== Support: checksums and ciphers ========================================================== */

/* ==== Support: files ========================================================================== */

/* ==== Support: UCS-2 to GB18030 =============================================================== */

/* ==== Device: context ========================================================================= */

/* ==== Device: transport dispatch ============================================================== */

/* ==== Device: serial port ===================================================================== */

/* ==== Device: USB HID ========================================================================= */

/* ==== Protocol: escape commands =============================================================== */

/* ==== Protocol: device control ================================================================ */

/* ==== Protocol: IC frame ====================================================================== */

/* ==== Protocol: Union frame =================================================================== */

/* ==== Cards: IC reader ======================================================================== */

/* ==== API: connection and device ============================================================== */

/* ==== API: error numbers ====================================================================== */

/* ==== API: IC cards =========================================================================== */

#ifdef __cplusplus
}
#endif

#endif /* DESKREADER_H */
