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
 *   Ovan_Cancel and COMM_cancle are meant for a second thread, at any moment: the three that change
 *   the connection cancel the exchange that is under way and wait for its end.
 * - No exception leaves the library and it keeps no thread of its own; hidapi runs one for an open
 *   USB device.
 * - A null pointer is refused before anything goes to the reader: with -1007 by RD_ functions (as a
 *   terminal number by functions that name a port), with -22 by all others that return a result.
 *   Null for bytes whose length is 0 is none.
 *   Exceptions stand with their functions. A null context is -19 where the device would be opened,
 *   and the DC_ functions do not look for one.
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

#define DESKREADER_API __attribute__((__visibility__("default")))
#define DESKREADER_PRINTF(index, first) __attribute__((__format__(__printf__, index, first)))

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

/* The reader and writer themselves, over any file; a null path is that of no file. szOut as in
 * GGetConfigString. Return 0. */
DESKREADER_API int _IniReadValue(const char* szSection, const char* szKey, const char* szDefault,
                                 char* szOut, const char* szPath);
DESKREADER_API int _IniWriteValue(const char* szSection, const char* szKey, const char* szValue,
                                  const char* szPath);

/* ==== Support: load, unload and the directory scan ============================================
 *
 * At load the library finds its own directory, reads "loglevel" from config.ini there, makes the
 * directory log, deletes logs older than "saveday" days, names its log sd_YYYYMMDD.log for the day,
 * and renames serial port 1 to /dev/ttyAMA0. Nothing of this can fail visibly. */

/* The load-time constructor and its counterpart; the loader runs them, hosts need not. */
DESKREADER_API void my_init(void);
DESKREADER_API void my_fini(void);

/* Called for each entry of a directory with its name and its path; the path of an entry that is no
 * regular file is that of the last one that was, or empty. A result other than 0 ends the scan. */
typedef int (*GScanCallback)(const char* szName, const char* szPath, void* pUser);

/* Scans a directory in the system's order, without "." and "..". Returns 0, the callback's result
 * that ended it, -22 for a null directory or callback, -99 when the directory cannot be opened.
 * Paths are cut at 1023 bytes. */
DESKREADER_API int GScanDirectory(const char* szDirectory, GScanCallback callback, void* pUser);

/* The callback of the log clean-up: deletes szPath when szName begins with "sd_" and eight digits
 * of a date more than "saveday" days (at most 365) past. Other names are kept. Returns 0. */
DESKREADER_API int ScanDirCallback(const char* szName, const char* szPath, void* pUser);

/* ==== Support: text forms of bytes ============================================================ */

/* Reads pairs of hexadecimal digits of either case into at most iOutSize bytes; every other
 * character counts as 0 and an odd last one is ignored. Returns the bytes written; -22 for null
 * szHex or length 0; a negative iOutSize itself, with nothing written. */
DESKREADER_API int GHex2Byte(const char* szHex, size_t nHexLen, unsigned char* szOut, int iOutSize);

/* Writes bytes as upper-case hexadecimal text, at most nOutSize / 2 of them, without terminator.
 * Returns the characters written; -22 for a null pointer or size 0. A negative length counts as 0.
 */
DESKREADER_API int GByte2Hex(const unsigned char* szIn, int iLength, char* szOut, size_t nOutSize);

/* The same with each nibble as '0' + nibble, so 10 to 15 give ':' to '?'. */
DESKREADER_API int GBCD2Ansi(const unsigned char* szBcd, int iLength, char* szOut, size_t nOutSize);

/* Packs pairs of characters: the first shifted left by four bits whole, the second's low nibble
 * ("12" gives 12, "A1" gives 11). An odd last character is ignored. Returns the bytes written; -22
 * for a null pointer, length 0 or more bytes than nOutSize. */
DESKREADER_API int GAnsi2BCD(const char* szText, size_t nLength, unsigned char* szOut,
                             size_t nOutSize);

/* XORs two runs of bytes; szOut may be one of them. Returns 0, or -22 for a null pointer or length
 * 0. */
DESKREADER_API int GXor(const unsigned char* szA, const unsigned char* szB, unsigned char* szOut,
                        size_t nLength);

/* Copies without the 00 bytes at both ends. Returns the bytes written; -99 when all are 00 or
 * length is 0; -22 for a null pointer, size 0, or a rest longer than nOutSize. */
DESKREADER_API int GTrimZero(const unsigned char* szIn, size_t nLength, unsigned char* szOut,
                             size_t nOutSize);

/* The value of a digit or letter of either case (z is 35); 111 for any other character. */
DESKREADER_API int hex2num(char c);

/* Decode and encode URL text ('+' for a blank, "%XX"). Both stop when iOutSize bytes are written
 * and end with a terminator: provide iOutSize + 1 bytes. Return the length; 0 for a null pointer or
 * a length or size below 1. Decoding takes letters up to z as digits and drops "%" and a pair that
 * is none. Encoding returns 0, with unterminated text in szOut, when a "%XX" does not fit or a byte
 * is 00. */
DESKREADER_API int GURLDecode(const char* szIn, int iLength, char* szOut, int iOutSize);
DESKREADER_API int GURLEncode(const char* szIn, int iLength, char* szOut, int iOutSize);

/* Base64 (RFC 4648) as a new, terminated text that the caller frees. Without memory for it the
 * process exits with status 0. */
DESKREADER_API char* base64_encode(const unsigned char* szData, unsigned int nLength);

/* Decodes Base64 into a new, terminated buffer that the caller frees. *pnOutLen is the buffer's
 * size, not the number of bytes decoded: nLength / 4 * 3 and 4, 4, 3 or 2 more with 0, 1, 2 or 3
 * pads among the last three characters. A last group of 3 or 2 characters gives 3 or 2 bytes, the
 * final one 0. A character outside the alphabet counts as 'A'. Without memory the process exits
 * with status 0. */
DESKREADER_API unsigned char* base64_decode(const char* szText, int iLength, int* pnOutLen);

/* ==== Support: checksums and ciphers ========================================================== */

/* All bytes XORed, 0 to 255; -22 for null data or length 0. */
DESKREADER_API int GCalXor(const unsigned char* szData, size_t nLength);

/* All bytes added, not reduced; -22 for null data or length 0. */
DESKREADER_API long long GCalSum(const unsigned char* szData, size_t nLength);

/* CRC-16/XMODEM (polynomial 1021, initial value 0): the register after one more byte, shifted in
 * the most significant bit first; and the check value of a run of bytes, two zero bytes shifted in
 * after them. 0 for null data. */
DESKREADER_API unsigned UpdateCRC16(unsigned nCrc, unsigned nByte);
DESKREADER_API unsigned GCalCRC16(const unsigned char* szData, long lLength);

/* One 8-byte block of DES (FIPS 46-3) with an 8-byte key, parity bits ignored. Return 0, or -22 for
 * a null pointer. szOutput may be szInput. */
DESKREADER_API int GDesEncrypt(const unsigned char* szInput, const unsigned char* szKey,
                               unsigned char* szOutput);
DESKREADER_API int GDesDecrypt(const unsigned char* szInput, const unsigned char* szKey,
                               unsigned char* szOutput);

/* One 8-byte block of triple DES (encrypt, decrypt, encrypt) with a key of 16 or 24 bytes; 16 use
 * the first 8 again as the third. Return 0, or -22 for a null pointer or another length. */
DESKREADER_API int G3DesEncrypt(const unsigned char* szInput, const unsigned char* szKey,
                                unsigned char* szOutput, int iKeyLen);
DESKREADER_API int G3DesDecrypt(const unsigned char* szInput, const unsigned char* szKey,
                                unsigned char* szOutput, int iKeyLen);

/* The MD5 digest (RFC 1321) of data or of a file as 32 upper-case hexadecimal digits and a
 * terminator: provide 33 bytes, all nOutSize of which are cleared first. Return 0; -22 for a null
 * pointer, length 0 or a size below 32; -99 when the file cannot be opened. The file is read up to
 * the size that it has at the beginning. */
DESKREADER_API int GMd5Encode(const unsigned char* szData, size_t nLength, char* szOut,
                              size_t nOutSize);
DESKREADER_API int GGetFileMd5(const char* szPath, char* szOut, size_t nOutSize);

/* A digest as such a text. Returns szOut, or null for a size below 32. */
DESKREADER_API char* MD5Result(const unsigned char szDigest[16], char* szOut, int iOutSize);

/* ==== Support: files ========================================================================== */

/* Opens a stream: mode 1 "rb", 3 "a+b", 4 "w+b", 5 "r", 6 "r+", 7 "a+", 8 "w+", 2 and all others
 * "r+b". Null for a null path or when it cannot be opened. */
DESKREADER_API FILE* GOpenFile(const char* szPath, int iMode);

/* Closes it. Returns 0 on success. */
DESKREADER_API int GCloseFile(FILE* pStream);

/* Read and write in chunks of 64 KiB until one comes short. Return the bytes moved; -99 when the
 * very first moves nothing; -22 for a null pointer or a length of SIZE_MAX. Writing flushes the
 * stream. */
DESKREADER_API int GReadFile(FILE* pStream, unsigned char* szBuffer, size_t nLength);
DESKREADER_API int GWriteFile(FILE* pStream, const unsigned char* szData, size_t nLength);

/* The size of a file in bytes; 0 when there is none; -22 for a null path. */
DESKREADER_API long GGetFileSize(const char* szPath);

/* Copies what follows the last '/' or '\\' with its terminator; nOutSize is not consulted: provide
 * as much as the path has. Returns 0, or -22 for a null pointer or size 0. */
DESKREADER_API int GGetFileName(const char* szPath, char* szOut, size_t nOutSize);

/* Nothing on this platform: -99, or -22 for null or a size below 1. */
DESKREADER_API int GGetLocalFilePath(char* szOut, int iSize);

/* ==== Support: UCS-2 to GB18030 ===============================================================
 *
 * The mapping of GB 18030-2000 for the Basic Multilingual Plane, in tables sorted by UCS-2 value.
 * Source text is two bytes a character, low byte first. */

/* A character with a code of two bytes. */
typedef struct GB18030_2BYTE {
    unsigned short nCode; /* lead byte in the high half */
    unsigned short nUcs2; /* the character */
} GB18030_2BYTE;

/* A character with a code of four bytes. */
typedef struct GB18030_4BYTE {
    unsigned short nHigh; /* first two bytes */
    unsigned short nLow;  /* last two bytes */
    unsigned short nUcs2; /* the character */
} GB18030_4BYTE;

/* The mapping: codes of two bytes, of four, and one of four that is looked up after those. */
DESKREADER_API extern const GB18030_2BYTE g_chset_ucs2_to_gb18030_2_byte_tbl[21872];
DESKREADER_API extern const GB18030_4BYTE g_chset_ucs2_to_gb18030_4_byte_tbl[39339];
DESKREADER_API extern const GB18030_4BYTE g_chset_ucs2_to_gb18030_4_byte_tbl_add[1];

/* Their numbers of entries. */
DESKREADER_API int mmi_chset_ucs2_gb18030_2byte_size(void);
DESKREADER_API int mmi_chset_ucs2_gb18030_4byte_size(void);
DESKREADER_API int mmi_chset_ucs2_gb18030_4byte_size_add(void);

/* Look a character up; the code with its first byte most significant. Return 1 when found, else 0
 * with nothing written. */
DESKREADER_API int mmi_chset_ucs2_to_gb18030_2_byte_search(unsigned short nUcs2,
                                                           unsigned short* pnCode);
DESKREADER_API int mmi_chset_ucs2_to_gb18030_4_byte_search(unsigned short nUcs2,
                                                           unsigned int* pnCode);
DESKREADER_API int mmi_chset_ucs2_to_gb18030_4_byte_search_add(unsigned short nUcs2,
                                                               unsigned int* pnCode);

/* Converts one character; FF for what has no mapping, surrogates included. Returns the 1, 2 or 4
 * bytes written: provide 4. */
DESKREADER_API int mmi_chset_ucs2_to_gb18030(unsigned char* szOut, unsigned short nUcs2);

/* Converts text up to its zero unit and writes two zero bytes after it. Returns the bytes written,
 * those two included: provide 4 a character and 2. iLimit ends the text only before a character
 * whose low byte is 0, once two bytes more would reach it. */
DESKREADER_API int mmi_chset_ucs2_to_gb18030_str(unsigned char* szOut,
                                                 const unsigned char* szSource, int iLimit);

/* The characters before the first zero unit; 0 for null. */
DESKREADER_API int app_ucs2_strlen(const unsigned char* szText);

/* Converts iLength bytes, at most 510 (what is more is left out), up to a zero unit, with the limit
 * 1024. Returns the bytes written, two zero bytes included: provide twice iLength and 2, and 2 more
 * when it is odd, as half a character is completed by a zero. */
DESKREADER_API int GStrUnicode2GB18030(const unsigned char* szSource, unsigned char* szOut,
                                       int iLength);

/* ==== Device: context =========================================================================
 *
 * One reader connection. Life of a context: cleared by DC_Init; configured (interface type, then
 * serial parameters or USB list, mode id); open with its first COMM_Open; shared by further ones;
 * closed by the COMM_Close that brings the reference count to 0. Nothing here is locked: one
 * context must not be used by two threads at once. */

/* One reader connection. */
typedef struct DEVCONTEXT DEVCONTEXT;

/* Asked after every piece of a read with all bytes received so far and their number: another result
 * than 0 says that the packet is complete. */
typedef int (*COMM_PacketIsEnd)(unsigned char* szReceived, unsigned int nLength);

/* The operations of one kind of link. A handle from -99 to -1 means that open failed. read and
 * write return the bytes moved, -62 for none in time, -125 for a cancelled read, -1 for an error of
 * the device; a time limit of 0 ms means 2147483647. */
typedef struct COMM_OPS {
    /* Opens what the context names and returns its handle. */
    void* (*open)(DEVCONTEXT* pContext);
    /* Reads at most nLength bytes, until isEnd, the limit or a cancel. */
    int (*read)(void* pDevice, unsigned char* szBuffer, unsigned int nLength, unsigned int nTimeout,
                COMM_PacketIsEnd isEnd);
    /* Writes nLength bytes. */
    int (*write)(void* pDevice, const unsigned char* szData, unsigned int nLength,
                 unsigned int nTimeout);
    /* Closes the handle. */
    int (*close)(void* pDevice);
} COMM_OPS;

/* The record behind a context, for the DC_ functions to read and write. */
struct DEVCONTEXT {
    void* pDevice;        /* hidapi's device, or the cell of a serial port; null if never opened */
    int iOpen;            /* 0 closed, 1 open; only ever toggled */
    unsigned int nRefCnt; /* users of the open device */
    unsigned char szReserved[16]; /* cleared by DC_Init and otherwise left alone */
    char szType[16];              /* "hid" or "com"; unterminated when all 16 are used */
    union {
        struct {
            unsigned int nBaud; /* bits a second */
            int iPort;          /* index of the port name */
        } com;
        struct {
            unsigned char nModeId;     /* second byte of every report */
            unsigned char szUnused[3]; /* the upper bytes of the baud rate */
            int iUsbCount;             /* entries used, at most 8 */
            unsigned short nVid[8];    /* vendor ids */
            unsigned short nPid[8];    /* product ids, in the same order */
        } hid;
    } params;                  /* the two views overlap: the baud rate's low byte is the mode id */
    long long llOutputBufSize; /* payload of one write: 62 on HID, 266 on serial */
    long long llInputBufSize;  /* payload of one read: 62 on HID, serial leaves it */
    const COMM_OPS* pOps;      /* set when the context is validated on open */
};

/* The context of all RD_ functions. */
DESKREADER_API extern DEVCONTEXT context;

/* Clears the whole record. No DC_ function checks its context for null. */
DESKREADER_API void DC_Init(DEVCONTEXT* pContext);

/* Plain accessors. DC_SetInterfaceType takes at most 16 characters; DC_GetUsbListSize and
 * DC_GetCOMPort read the same field, and so do the mode id and the baud rate's low byte. */
DESKREADER_API void DC_SetInterfaceType(DEVCONTEXT* pContext, const char* szType);
DESKREADER_API const char* DC_GetInterfaceType(DEVCONTEXT* pContext);
DESKREADER_API void DC_SetInterfaceOps(DEVCONTEXT* pContext, const COMM_OPS* pOps);
DESKREADER_API const COMM_OPS* DC_GetInterfaceOps(DEVCONTEXT* pContext);
DESKREADER_API void DC_SetCOMParams(DEVCONTEXT* pContext, int iPort, unsigned int nBaud);
DESKREADER_API int DC_GetCOMPort(DEVCONTEXT* pContext);
DESKREADER_API unsigned int DC_GetCOMBaud(DEVCONTEXT* pContext);
DESKREADER_API void DC_SetDevice(DEVCONTEXT* pContext, void* pDevice);
DESKREADER_API void* DC_GetDevice(DEVCONTEXT* pContext);
DESKREADER_API void DC_SetOutputBufSize(DEVCONTEXT* pContext, long long llSize);
DESKREADER_API long long DC_GetOutputBufSize(DEVCONTEXT* pContext);
DESKREADER_API void DC_SetInputBufSize(DEVCONTEXT* pContext, long long llSize);
DESKREADER_API long long DC_GetInputBufSize(DEVCONTEXT* pContext);
DESKREADER_API int DC_IsOpen(DEVCONTEXT* pContext);

/* Appends the low 16 bits of each id to the list of USB identities; a ninth is dropped. */
DESKREADER_API void DC_AddUsbParams(DEVCONTEXT* pContext, int iVid, unsigned int nPid);
DESKREADER_API int DC_GetUsbListSize(DEVCONTEXT* pContext);

/* The entry's id; 0 for an index outside the list. */
DESKREADER_API unsigned short DC_GetUsbVid(DEVCONTEXT* pContext, int iIndex);
DESKREADER_API unsigned short DC_GetUsbPid(DEVCONTEXT* pContext, int iIndex);

/* One user more; one less, which closes the device when none is left and the link has a close
 * operation. Releasing returns the users that remain; with none it does nothing and returns 0. */
DESKREADER_API void DC_AddDeviceRef(DEVCONTEXT* pContext);
DESKREADER_API unsigned int DC_ReleaseDeviceRef(DEVCONTEXT* pContext);

/* Toggles the open flag: 0 becomes 1, all else 0. Returns the context. */
DESKREADER_API DEVCONTEXT* DC_SwitchOpenStatus(DEVCONTEXT* pContext);

/* Stores the low 8 bits as mode id, on a context of type "hid" only. */
DESKREADER_API void DC_SetModeId(DEVCONTEXT* pContext, int iId);
DESKREADER_API unsigned char DC_GetModeId(DEVCONTEXT* pContext);

/* ==== Device: transport dispatch ============================================================== */

/* Opens the device on first use, and adds a reference. An open "hid" context gets its mode id into
 * force. Returns 0; -19 for a null context, an unknown type or an empty USB list; -2 when the
 * device cannot be opened. */
DESKREADER_API int COMM_Open(DEVCONTEXT* pContext);

/* Read and write through the context's link. Return the adapter's result (see COMM_OPS); -22 for a
 * null context or buffer, -2 for a context that was never opened. A read with an end test begins by
 * clearing a cancel that was raised before; one without (null) cannot be cancelled. */
DESKREADER_API int COMM_Read(DEVCONTEXT* pContext, unsigned char* szBuffer, unsigned int nLength,
                             unsigned int nTimeout, COMM_PacketIsEnd isEnd);
DESKREADER_API int COMM_Write(DEVCONTEXT* pContext, const unsigned char* szData,
                              unsigned int nLength, unsigned int nTimeout);

/* Drops a reference. Returns those that remain. */
DESKREADER_API int COMM_Close(DEVCONTEXT* pContext);

/* hidapi's hid_init and hid_exit, for hosts that want them; the library never calls them. Return 0
 * or -1. */
DESKREADER_API int COMM_Init(void);
DESKREADER_API int COMM_Exit(void);

/* Raise and take back the request to cancel the read that another thread is waiting in. */
DESKREADER_API void COMM_cancle(void);
DESKREADER_API void COMM_notcancle(void);

/* The operations of a link by its exact name; null for another name, or null. */
DESKREADER_API const COMM_OPS* _COMM_FindAdapter(const char* szName);

/* 1 for a context that can be opened, else 0. Stores the link's operations in either case, if the
 * type has any. */
DESKREADER_API int _COMM_ValidateParam(DEVCONTEXT* pContext);

/* ==== Device: serial port =====================================================================
 *
 * A port is an index into 16 names: /dev/ttyS0, /dev/ttyAMA0 (renamed at load), /dev/ttyS2,
 * /dev/ttyS3, and empty ones. An opened port is raw 8-N-1 at 1200, 2400, 4800, 19200, 38400, 57600
 * or 115200 baud; every other rate is 9600. Settings found at open are put back at close; there is
 * one record of them for all ports. */

/* Names a port, at most 63 characters. Returns 0; -99 for an index outside 0 to 15. */
DESKREADER_API int GSetComName(int iIndex, const char* szName);

/* Saves the terminal's settings and makes it raw, once pending output is sent. Returns 0; -1 for a
 * negative descriptor; -2, -3 when the settings cannot be read, -4 when they cannot be written. */
DESKREADER_API int GSetTerm_Linux(int iFile, int iBaud);

/* Puts the saved settings back and closes the descriptor, unless it is 0. Returns 0; -1 for a
 * negative descriptor, -99 when the settings cannot be written (the descriptor is closed all the
 * same). */
DESKREADER_API int GReSetTerm_Linux(int iFile);

/* Opens a port. The handle is a cell of 4 bytes that holds the descriptor; null on failure. */
DESKREADER_API void* GOpenCom(int iIndex, int iBaud);

/* Closes it, as GReSetTerm_Linux. */
DESKREADER_API int GCloseCom(void* pCom);

/* One write of all bytes, as write() returns; the time limit is not used. */
DESKREADER_API int GWriteCom(void* pCom, const unsigned char* szData, unsigned long ulLength,
                             int iTimeout);

/* Waits at most iWait MICROSECONDS for data and reads once, as read() returns. 0 when nothing came
 * in time or a signal arrived, -1 when waiting failed. */
DESKREADER_API int GReadCom(void* pCom, unsigned char* szBuffer, unsigned long ulLength, int iWait);

/* The adapter "com". A read with an end test polls in slices of 10 microseconds and asks the test
 * twice in each; one without takes the milliseconds of its limit as microseconds, so that 3000
 * waits 3 ms. An open that fails leaves nothing behind. */
DESKREADER_API void* COM_open(DEVCONTEXT* pContext);
DESKREADER_API int COM_read(void* pDevice, unsigned char* szBuffer, unsigned int nLength,
                            unsigned int nTimeout, COMM_PacketIsEnd isEnd);
DESKREADER_API int COM_write(void* pDevice, const unsigned char* szData, unsigned int nLength,
                             unsigned int nTimeout);
DESKREADER_API int COM_close(void* pDevice);

/* ==== Device: USB HID =========================================================================
 *
 * Payload travels in reports of 64 bytes (65 with the report id that hidapi wants): a mode id that
 * names the reader's module, a length byte, at most 62 bytes. Devices are hidapi's hid_device. */

/* The fixed report lengths: 65, 0 for a null device. */
DESKREADER_API int hid_get_output_report_length(void* pDevice);
DESKREADER_API int hid_get_input_report_length(void* pDevice);

/* Sends one output report with at most 62 bytes of the data. Returns the bytes put into it, whether
 * or not it could be sent; -1 for a null device. */
DESKREADER_API int hid_write_modeid(void* pDevice, const void* pData, size_t nLength, int iModeId);

/* Reads one input report and copies its payload, at most nRoom bytes. Returns the bytes copied, 0
 * for no report in time (or an empty one), -1 for a report of 1 or 2 bytes or a null device,
 * otherwise hidapi's negative result. */
DESKREADER_API int hid_read_modeid(void* pDevice, void* pBuffer, size_t nRoom, int iTimeout);

/* The adapter "hid". Open takes the first device of the USB list that can be opened (-19 as handle
 * for none). A read with an end test waits in slices of 10 ms, and an empty report does not end it;
 * a read without takes one report. A write counts what was put into reports. */
DESKREADER_API void* HID_open(DEVCONTEXT* pContext);
DESKREADER_API int HID_read(void* pDevice, unsigned char* szBuffer, unsigned int nLength,
                            unsigned int nTimeout, COMM_PacketIsEnd isEnd);
DESKREADER_API int HID_write(void* pDevice, const unsigned char* szData, unsigned int nLength,
                             unsigned int nTimeout);
DESKREADER_API int HID_close(void* pDevice);

/* Milliseconds of the monotonic clock. */
DESKREADER_API unsigned long long GetTickCount(void);

/* ==== Protocol: escape commands ===============================================================
 *
 * ESC sequences go to the base unit and the magnetic module as they stand. Each call is one
 * exchange: open, write, read if there is a reply, close. */

/* Sends a command and reads iExpectLen bytes of reply; 0 reads none. The time limit holds for the
 * write and for the read, which cannot be cancelled; over a serial port its milliseconds are taken
 * as microseconds. Returns the reply's bytes, or iCmdLen when none was expected; -22 for a null
 * pointer, iCmdLen or iOutSize below 1, iExpectLen above iOutSize, or a reply longer than that;
 * otherwise the negative result of open, write or read. More than 1024 bytes of reply are not read.
 */
DESKREADER_API int RAWL_SendCmd(DEVCONTEXT* pContext, const unsigned char* szCmd, int iCmdLen,
                                unsigned char* szOut, int iOutSize, int iExpectLen, int iTimeout);

/* Sends a command and reads until the reply is complete: szEndMark is "?\x1C" for track reads,
 * "rp/q" for track writes. With another mark nothing is read, szOut gets iCmdLen zero bytes and the
 * result is iCmdLen. Results otherwise as above; a cancelled read returns -125. */
DESKREADER_API int RAWC_SendCmd(DEVCONTEXT* pContext, const unsigned char* szCmd, int iCmdLen,
                                unsigned char* szOut, int iOutSize, const char* szEndMark,
                                int iTimeout);

/* The end tests: 1 when 3F 1C, or "rq" or "rp", stands anywhere in the bytes, else 0; 0 for null.
 */
DESKREADER_API int MsrPacketIsEnd(unsigned char* szReceived, unsigned int nLength);
DESKREADER_API int MsrWriteIsEnd(unsigned char* szReceived, unsigned int nLength);

/* ==== Protocol: device control ================================================================ */

/* 1 once a pass-through port was selected, 0 once a character outside the range was given. Closing
 * leaves it, so every later close releases the port again. */
DESKREADER_API extern unsigned int g_Bp;

/* Clears the context and opens the reader: port 0 is USB HID 2E8B:0142, 1 to 255 a serial port at
 * iBaud (at most 115200). Then selects the pass-through port, whether or not the open succeeded. An
 * open context is left as it is, with result 0. Returns 0, -22 for port or baud out of range (the
 * context is cleared), or COMM_Open's number. */
DESKREADER_API int Ovan_Open(DEVCONTEXT* pContext, int iPort, int iBaud, int iBpPort);

/* Opens the reader on USB HID by its identity, each id modulo 65536. Returns 0 or COMM_Open's
 * number. */
DESKREADER_API int Ovan_Open_PID(DEVCONTEXT* pContext, int iVid, int iPid);

/* Releases the pass-through port if g_Bp is 1 (ESC "%A"), and drops a reference. Returns 0. */
DESKREADER_API int Ovan_Close(DEVCONTEXT* pContext);

/* Selects the pass-through port '1' to 'Y' (ESC "%" port); another character (its low byte, signed)
 * sends nothing. What becomes of the command is not reported. Returns 0. */
DESKREADER_API int Ovan_SetBpPort(DEVCONTEXT* pContext, int iPort);

/* Resets the reader (ESC "S"); it does not answer. Returns 0 or RAWL_SendCmd's result. */
DESKREADER_API int Ovan_Reset(DEVCONTEXT* pContext, int iTimeout);

/* Switches the reader's module by the low byte of iMode: 0 and 1 (ESC "$B", "$I") by "IcBaud", 2
 * (ESC "$S") by "IdBaud"; the command ends in 0 for 9600 baud and in 4 for all others. Any other
 * mode sends nothing. The reader's 2-byte answer is read and dropped where it comes in time: over a
 * serial port the 100 ms count as 100 microseconds, so it comes too late and stands before the next
 * reply unless the port is opened anew. Returns 0. */
DESKREADER_API int Ovan_ChangeMode(DEVCONTEXT* pContext, int iMode);

/* Cancels the read that another thread waits in, and gives it 200 ms to notice. Returns 0. */
DESKREADER_API int Ovan_Cancel(void);

/* Reads and logs what the reader has sent, at most 4096 bytes, and drops it. Returns its length or
 * a negative number. */
DESKREADER_API int Ovan_ReadData(DEVCONTEXT* pContext, int iTimeout);

/* ==== Protocol: IC frame ====================================================================== */

/* One command in the IC frame (60 LEN command XOR as hexadecimal text, then 03) and its reply.
 * Returns the reply's bytes, 1 or more; -22 for a null pointer, iCmdLen of 0 or above 255, iOutSize
 * of 0, a reply longer than iOutSize, or an iOutSize below the length of the reply's TEXT (2 *
 * reply + 7): give 256 or 4096; -74 for a malformed reply and for none at all, whatever kept it
 * away; otherwise the result of open or write. szOut is undefined after -22. The reply's check byte
 * is not verified. */
DESKREADER_API int VexoIc_SendCmd(DEVCONTEXT* pContext, const unsigned char* szCmd, int iCmdLen,
                                  unsigned char* szOut, int iOutSize, int iTimeout);

/* ==== Protocol: Union frame =================================================================== */

/* One command in the Union frame (02, two bytes of length, command and XOR as two characters '0' to
 * '?' a byte, 03) and its reply. As VexoIc_SendCmd, without the limit of 255: commands up to 1020
 * bytes fit. A reply of length 0 returns 0. */
DESKREADER_API int Union_SendCmd(DEVCONTEXT* pContext, const unsigned char* szCmd, int iCmdLen,
                                 unsigned char* szOut, int iOutSize, int iTimeout);

/* ==== Protocol: ID frame ======================================================================
 *
 * Binary, both ways: AA AA AA 96 69, two bytes of length (big-endian, of all that follows), the
 * bytes, and a check byte. A reply's bytes begin with three of status. */

/* Writes the frame of a command: preamble, length, command, and the XOR of length and command.
 * Returns its length, iCmdLen + 8; -22 for a null pointer, a negative count, and where the frame
 * buffer is smaller than 2 * (iCmdLen + 4) or the command longer than 1021 bytes. */
DESKREADER_API int ID_MakeCmdPackage(const unsigned char* szCmd, int iCmdLen,
                                     unsigned char* szFrame, int iFrameSize);

/* Returns 1 once the bytes begin with the preamble and all that their length announces has come,
 * else 0. Noise before the preamble is not skipped. */
DESKREADER_API int VexoIdPacketIsEnd(unsigned char* szData, unsigned int nLength);

/* One command (at most 508 bytes) in the ID frame and its reply, without preamble, length and check
 * byte, in szOut. Returns the bytes READ from the device, all included: reply + 8, more where the
 * link brought more (USB HID fills its reports with zeros), less where the limit ended the wait.
 * -22 for a null pointer, a count or size of 0, a command that is too long, and an iOutSize that is
 * not greater than the reply; otherwise the result of open, write or read. After a failed read
 * szOut is overwritten with iCmdLen + 7 zeros. A reply without the preamble passes: szOut then has
 * what follows its seventh byte. The check byte is not verified. */
DESKREADER_API int ID_SendCmd(DEVCONTEXT* pContext, const unsigned char* szCmd, int iCmdLen,
                              unsigned char* szOut, int iOutSize, int iTimeout);

/* ==== Cards: IC reader ========================================================================
 *
 * The reader's commands for IC cards and for the device, in the frame that "Iccmd" chooses on every
 * call: 0 the IC frame, 1 the Union frame, any other value gives -1008. All return 0; or -4000
 * (power-on failed), -4002 (power-off failed), -4004 (card not powered), -4005 (card absent), -4006
 * (APDU failed), -99 for another status of the reader, or the frame's number (-22, -74, ...). On a
 * failure outputs stay as they were. Time limits are milliseconds. */

/* The contact slot of all later commands; 0 at load. In the IC frame slots 0 to 15 go out as 1 to
 * 16, 16 as 0, 17 to 31 as 4 to 18 and all others as 1; in the Union frame the low byte goes out.
 */
DESKREADER_API extern int g_Slot;
DESKREADER_API int IC_SetSlot(int iSlot);

/* Makes the reader use another serial rate: 19200, 38400, 57600 or 115200, all others mean 9600.
 * -4002 when it refuses. */
DESKREADER_API int IC_SetBaud(DEVCONTEXT* pContext, int iBaud);

/* Power a contact card, or a contactless one, and give its answer: provide 256 bytes. In the IC
 * frame a status other than A2 and FB makes the result the length of the reply, a positive number.
 */
DESKREADER_API int IC_PowerOn(DEVCONTEXT* pContext, unsigned char* szAnswer, int* pnAnswerLen,
                              int iTimeout);
DESKREADER_API int IC_RFPowerOn(DEVCONTEXT* pContext, unsigned char* szAnswer, int* pnAnswerLen,
                                int iTimeout);
DESKREADER_API int IC_PowerOff(DEVCONTEXT* pContext, int iTimeout);
DESKREADER_API int IC_RFPowerOff(DEVCONTEXT* pContext, int iTimeout);

/* One command to the card and its response, status word included as the reader gives it: provide
 * 1024 bytes. In the IC frame a contact command has at most 253 bytes and a contactless one 254,
 * else -22; -74 for a response of more than 1024 bytes, which no true frame carries. */
DESKREADER_API int IC_APDU(DEVCONTEXT* pContext, const unsigned char* szCommand, int iCommandLen,
                           unsigned char* szResponse, int* pnResponseLen, int iTimeout);
DESKREADER_API int IC_RFAPDU(DEVCONTEXT* pContext, const unsigned char* szCommand, int iCommandLen,
                             unsigned char* szResponse, int* pnResponseLen, int iTimeout);

/* The device's information as it sends it: provide 256 bytes. In the IC frame an unknown status
 * makes the result the length of the reply. In the Union frame information that begins with 06 10
 * is taken from byte 18 of the reply on, and its first byte is given as the length. */
DESKREADER_API int IC_GetDevInfo(DEVCONTEXT* pContext, unsigned char* szInfo, int* pnInfoLen,
                                 int iTimeout);

/* Sounds the beeper; Union frame only, which is also the default here. The duration goes out
 * divided by 10 up to 99 and by 100 above; the two parameters go out as they are, low byte. */
DESKREADER_API int IC_Beep(DEVCONTEXT* pContext, int iDuration, int iParam1, int iParam2,
                           int iTimeout);

/* Asks for a card; Union frame only. The state is 1, 2 or 3 where the reply has 11 or 12 in its
 * first byte or 12 in its second, else 0. */
DESKREADER_API int IC_CardDetect(DEVCONTEXT* pContext, int iParam, int* pnState, int iTimeout);

/* Resets the device, in the Union frame whatever is configured. Returns 0 whatever becomes of it.
 */
DESKREADER_API int IC_DevReset(DEVCONTEXT* pContext);

/* The device's information block, in the IC frame whatever is configured: provide 256 bytes. The
 * serial number stands in bytes 32 to 63. */
DESKREADER_API int IC_GetDevAllInfo(DEVCONTEXT* pContext, unsigned char* szInfo, int* pnInfoLen,
                                    int iTimeout);

/* Writes the serial number, at most 32 bytes (what is more is left out), in the IC frame whatever
 * is configured. */
DESKREADER_API int IC_SetDevSn(DEVCONTEXT* pContext, const unsigned char* szSn, int iSnLen,
                               int iTimeout);

/* ==== Cards: data objects =====================================================================
 *
 * BER-TLV in the simplified form that these cards use (EMV Book 3, annex B): tags of one byte, or
 * two when the low five bits of the first are all ones; lengths of one byte, 81 and one, 82 and
 * two; constructed objects are entered. An object that runs past the data is not found. */

/* The terminal's data objects, back to back, and their used lengths. Values are changed by the
 * setters below and by the payment flows, never back to their defaults. */
DESKREADER_API extern unsigned char g_szTxData[88];
DESKREADER_API extern int g_iTxDataLen;
DESKREADER_API extern unsigned char g_szAppInitData[114];
DESKREADER_API extern int g_iAppInitDataLen;
DESKREADER_API extern unsigned char g_szExData[50];
DESKREADER_API extern int g_iExDataLen;

/* Finds an object and copies its value: provide as much as the data have, at least 8 bytes, which
 * are cleared first. A constructed object has length 0; one with a length field of 82 ends the
 * search. Returns the offset of the value, or -99 with length 0. */
DESKREADER_API int PBOC_GetTagValue(const unsigned char* szTag, int iTagLen,
                                    const unsigned char* szData, int iDataLen,
                                    unsigned char* szValue, int* pnValueLen);

/* Overwrites the value of the first object that has this tag and length. Returns 0, or -99 when
 * there is none. */
DESKREADER_API int PBOC_SetTagValue(const unsigned char* szTag, int iTagLen, unsigned char* szData,
                                    int iDataLen, const unsigned char* szValue, int iValueLen);

/* The same in g_szTxData and g_szAppInitData. */
DESKREADER_API int PBOC_SetTxDataTagValue(const unsigned char* szTag, int iTagLen,
                                          const unsigned char* szValue, int iValueLen);
DESKREADER_API int PBOC_SetAppInitDataTagValue(const unsigned char* szTag, int iTagLen,
                                               const unsigned char* szValue, int iValueLen);

/* The first entry of a data object list: its tag (2 bytes) and how many bytes tag and length take
 * together. A byte past the end counts as 00. Returns 0. */
DESKREADER_API int PBOC_GetTagInDOL(const unsigned char* szEntry, int iRemaining,
                                    unsigned char* szTag, int* pnTagLen, int* pnHeaderLen);

/* Answers a data object list from the stores (transaction, application start, fixed), each value at
 * its stored length whatever the card asks for: provide 10 bytes for each byte of the list. Returns
 * 0, or -99 when a tag is in no store; the length then covers what was built. Context and slot are
 * not read. */
DESKREADER_API int PBOC_BuildDOL(DEVCONTEXT* pContext, int iSlot, const unsigned char* szDol,
                                 int iDolLen, unsigned char* szOut, int* pnOutLen);

/* Reads one field of a tagged text: the first place where the key stands, three digits of length,
 * the value. Provide 512 bytes; the value is not terminated. iTextLen is not read. Returns 0; -99
 * without the key, for a length below 0 or above 512, and for a value that runs past the end. */
DESKREADER_API int PBOC_GetSimpTagValue(const char* szKey, int iKeyLen, const char* szText,
                                        int iTextLen, char* szValue, int* pnValueLen);

/* 1 if any character is a capital letter, else 0; 0 for null. */
DESKREADER_API int IsTagListValue(const char* szText);

/* 1 if every character is a digit or a capital letter; a digit; else 0 and the first other is
 * logged; 0 for null. */
DESKREADER_API int IsPbocDataValue(const char* szText);
DESKREADER_API int IsNumDataValue(const char* szText);

/* ==== Cards: payment commands =================================================================
 *
 * Commands of the debit/credit application (PBOC, EMV Book 3). The slot is 0 contact, 1
 * contactless, any other value contact and then contactless. All return 0 for status word 90 00,
 * -99 for another one, 100 for 62 83 (application blocked), -22 for data longer than 255 bytes, or
 * the number of the exchange. On a failure outputs stay as they were unless said otherwise. Provide
 * 512 bytes for an output. */

/* One command as it stands; szCommand has at least 5 bytes and is overwritten: 61 xx and 62 xx are
 * followed by GET RESPONSE, 6C xx by the command with Le xx, at most 64 times, then the last answer
 * stands. Gives the whole response; a response of more than 512 bytes is -74. Returns the
 * exchange's result, 100 for 62 83, -22 for a length below 1. Outputs are always cleared first. */
DESKREADER_API int PBOC_IcAPDU(DEVCONTEXT* pContext, int iSlot, unsigned char* szCommand,
                               int iCommandLen, unsigned char* szResponse, int* pnResponseLen);

/* Selects the directory by name and gives the value of tag 88, its file identifiers. -99 without
 * the tag, 100 also for 93 03. */
DESKREADER_API int PBOC_SelectPSE(DEVCONTEXT* pContext, int iSlot, const unsigned char* szName,
                                  int iNameLen, unsigned char* szOut, int* pnOutLen);

/* Reads one record, given without status word. */
DESKREADER_API int PBOC_ReadRecord(DEVCONTEXT* pContext, int iSlot, int iRecord, int iSfi,
                                   unsigned char* szOut, int* pnOutLen);

/* Reads the directory's records and gives the tag 4F of the last one (length 0 if that has none).
 * The record number runs on from one file to the next and ends at 255. Returns 0. */
DESKREADER_API int PBOC_GetAID(DEVCONTEXT* pContext, int iSlot, const unsigned char* szSfiList,
                               int iSfiCount, unsigned char* szAid, int* pnAidLen);

/* Select an application by name, or a file; give the whole response, status word included. */
DESKREADER_API int PBOC_SelectAID(DEVCONTEXT* pContext, int iSlot, const unsigned char* szAid,
                                  int iAidLen, unsigned char* szOut, int* pnOutLen);
DESKREADER_API int PBOC_SelectFile(DEVCONTEXT* pContext, int iSlot, int iP1,
                                   const unsigned char* szData, int iDataLen, unsigned char* szOut,
                                   int* pnOutLen);

/* GET PROCESSING OPTIONS: the application interchange profile (2 bytes) and the file locator.
 * Without tag 94 in a template 77 the whole response without status word is the locator. Returns 0
 * also when the card refuses, with both lengths 0; -99 for a response that holds neither form; -22
 * for more than 253 bytes. */
DESKREADER_API int PBOC_GetProcOptions(DEVCONTEXT* pContext, int iSlot,
                                       const unsigned char* szPdolData, int iPdolLen,
                                       unsigned char* szAip, int* pnAipLen, unsigned char* szAfl,
                                       int* pnAflLen);

/* Reads the records that a file locator names, one after the other: provide 8000 bytes. Records
 * that cannot be read or no longer fit are left out. Returns 0. */
DESKREADER_API int PBOC_GetAppData(DEVCONTEXT* pContext, int iSlot, const unsigned char* szAfl,
                                   int iAflLen, unsigned char* szOut, int* pnOutLen);

/* GET DATA: the value of the tag (1 or 2 bytes, else -22). -99 when the response lacks it. */
DESKREADER_API int PBOC_GetData(DEVCONTEXT* pContext, int iSlot, const unsigned char* szTag,
                                int iTagLen, unsigned char* szOut, int* pnOutLen);

/* GENERATE AC with reference control parameter iP1: the value of tag 80; length 0 for a template
 * 77; -99 without either. */
DESKREADER_API int PBOC_GenerateAC(DEVCONTEXT* pContext, int iSlot, int iP1,
                                   const unsigned char* szCdolData, int iCdolLen,
                                   unsigned char* szOut, int* pnOutLen);

/* EXTERNAL AUTHENTICATE, with P2 00 and 06. */
DESKREADER_API int PBOC_ExternalAuth(DEVCONTEXT* pContext, int iSlot, const unsigned char* szData,
                                     int iDataLen);
DESKREADER_API int PBOC_ExternalAuth_Sh(DEVCONTEXT* pContext, int iSlot,
                                        const unsigned char* szData, int iDataLen);

/* Sends the commands (tag 86) of an issuer script. Returns 0 when the last one succeeded; its
 * number in the order of sending plus 1 when the card refused it; the exchange's number when that
 * failed; -99 without a command. With two commands in a flat script the second is sent for ever:
 * give one a call. */
DESKREADER_API int PBOC_ExeScript(DEVCONTEXT* pContext, int iSlot, const unsigned char* szScript,
                                  int iScriptLen);

/* Key delivery (BF DE), data ciphering (80 FA, the response without status word) and PIN change (84
 * 24). */
DESKREADER_API int PBOC_DeliveryKey(DEVCONTEXT* pContext, int iSlot, int iP1, int iP2,
                                    const unsigned char* szData, int iDataLen);
DESKREADER_API int PBOC_CryptData(DEVCONTEXT* pContext, int iSlot, int iP1,
                                  const unsigned char* szData, int iDataLen, unsigned char* szOut,
                                  int* pnOutLen);
DESKREADER_API int PBOC_ChangePin(DEVCONTEXT* pContext, int iSlot, int iP2,
                                  const unsigned char* szData, int iDataLen);

/* ==== Cards: electronic purse =================================================================
 *
 * Commands of a deposit or purse application, slots and results as above; responses come without
 * status word, provide 512 bytes. The data of the last four are taken as text: bytes from the first
 * zero on go out as zeros. */

/* Reads a file from iOffset on, the balance (READ BALANCE, P2 as given), and verifies a PIN. */
DESKREADER_API int EPED_ReadBinary(DEVCONTEXT* pContext, int iSlot, int iSfi, int iOffset,
                                   unsigned char* szOut, int* pnOutLen);
DESKREADER_API int EPED_GetBalance(DEVCONTEXT* pContext, int iSlot, int iP2, unsigned char* szOut,
                                   int* pnOutLen);
DESKREADER_API int EPED_Verify(DEVCONTEXT* pContext, int iSlot, const unsigned char* szPin,
                               int iPinLen);

/* *pnLen is the number of random bytes asked for, and then of those received. */
DESKREADER_API int EPED_GetRandom(DEVCONTEXT* pContext, int iSlot, unsigned char* szOut,
                                  int* pnLen);

/* The file identifier goes out as 90 OR iSfi, not cut to five bits; the data include the MAC. */
DESKREADER_API int EPED_UpdateBinary(DEVCONTEXT* pContext, int iSlot, int iSfi, int iOffset,
                                     const unsigned char* szData, int iDataLen);

/* szData: 11 bytes, of which EPED_Load and EPED_InitForPurchase send none (the header with Lc 0B
 * goes out alone); 15 bytes for EPED_Purchase. Reserved arguments are not read. */
DESKREADER_API int EPED_InitForLoad(DEVCONTEXT* pContext, int iSlot, int iKeyIndex,
                                    const char* szData, unsigned char* szOut, int* pnOutLen);
DESKREADER_API int EPED_Load(DEVCONTEXT* pContext, int iSlot, const char* szData,
                             unsigned char* szOut, int* pnOutLen);
DESKREADER_API int EPED_InitForPurchase(DEVCONTEXT* pContext, int iSlot, int iKeyIndex,
                                        const char* szData, int iReserved, unsigned char* szOut,
                                        int* pnOutLen);
DESKREADER_API int EPED_Purchase(DEVCONTEXT* pContext, int iSlot, int iReserved1,
                                 const char* szData, int iReserved2, unsigned char* szOut,
                                 int* pnOutLen);

/* ==== Cards: magnetic stripe =================================================================
 *
 * The stripe module's commands, as escape sequences. A selection is its tracks as decimal digits.
 * Time limits are milliseconds. A negative number of the exchange down to -99 is returned as it is;
 * -22 also for a null context or a null track that the selection names, before anything is sent. */

/* Resets the module (ESC "0"). Returns 0 whatever becomes of it. */
DESKREADER_API int MSR_Reset(DEVCONTEXT* pContext, int iTimeout);

/* Reads tracks 1, 2, 3, 12, 13, 23 or 123; any other selection sends nothing and returns 0. The
 * capacities are bytes. What no longer fits is dropped; tracks 2 and 3 are terminated only if both
 * have room left for it, and track 1 never is: clear the buffers first. With 23 iCap2 goes for both
 * tracks: provide iCap2 bytes for track 3 too. A track that the selection does not name may be
 * null; if it is not, it is written with what the reply holds for it.
 *
 * With selections 2, 3 and 23 every 'A' that the module sends goes on with track 3, otherwise the
 * first one outside of track 1, and '%' with track 1. Returns 0; -2001, -2002, -2003, -2106 (12),
 * -2107 (13), -2004 (23), -2000 (123) for a reply that does not begin with ESC "s" and for a
 * cancelled read. A reply of more than 255 bytes to selection 2 gives -2002, one of more than 256
 * bytes to another -22; over USB HID whole reports of 62 bytes count. */
DESKREADER_API int MSR_ReadTrack(DEVCONTEXT* pContext, int iReserved, int iTracks, int iCap1,
                                 char* szTrack1, int iCap2, char* szTrack2, int iCap3,
                                 char* szTrack3, int iTimeout);

/* Writes track 2, 3, or both (23, and also 1: track 1 is never written); any other selection sends
 * nothing and returns 0. The characters are not checked. Returns 0; -2102, -2103, -2104 (both) when
 * the module refuses or gives another reply; -22 for texts of more than 1000 characters together.
 */
DESKREADER_API int MSR_WriteTrack(DEVCONTEXT* pContext, int iReserved, int iTracks,
                                  const char* szTrack2, const char* szTrack3, int iTimeout);

/* The card number in a track's text: what stands before '=' (kind 0), before an apostrophe (1) or
 * before whichever comes first (2); "|" begins anew. Terminated: provide strlen(szText) + 1 bytes.
 * -2105 when no such character comes or for another kind, szCardNo then holds what was collected,
 * unterminated; -22 for a null pointer. */
DESKREADER_API int MSR_GetCardNo(int iKind, const char* szText, char* szCardNo);

/* ==== Cards: MIFARE Classic ===================================================================
 *
 * The reader's commands for these cards, in the frame that "Iccmd" (0 when missing) chooses on
 * every call: 0 the IC frame, 1 the Union frame, any other value gives -1008. All return 0; -22 for
 * a null pointer; their own number for any failure that the reader reports; or the frame's number
 * (-22, -74, ...). On a failure outputs stay as they were. Time limits are milliseconds; sector,
 * block and key type go out as they are. */

/* Activates a card and gives its answer: provide 256 bytes. In the Union frame the answer begins
 * with the two status bytes. -5001. */
DESKREADER_API int M1_PowerOn(DEVCONTEXT* pContext, unsigned char* szAnswer, int* pnAnswerLen,
                              int iTimeout);

/* Halts the card. -5002. */
DESKREADER_API int M1_PowerOff(DEVCONTEXT* pContext, int iTimeout);

/* Authenticates a sector with key A (type 0) or key B (any other type; in the Union frame the type
 * goes out untranslated). The key ends before its first 00 byte: put one behind it, and know that a
 * key with a 00 byte in it goes out cut short. -5003; -22 for a key that no frame carries. */
DESKREADER_API int M1_Verify(DEVCONTEXT* pContext, unsigned char nSector, unsigned char nKeyType,
                             const unsigned char* szKey, int iTimeout);

/* Read a block (-5004), or the value in a value block (-5006), as the reader gives it: 16 and 4
 * bytes from a reader that works, provide 1024. -74 for more, which no true frame carries. */
DESKREADER_API int M1_ReadBlock(DEVCONTEXT* pContext, unsigned char nBlock, unsigned char* szOut,
                                int* pnOutLen, int iTimeout);
DESKREADER_API int M1_ReadValue(DEVCONTEXT* pContext, unsigned char nBlock, unsigned char* szOut,
                                int* pnOutLen, int iTimeout);

/* Writes a block with as many bytes as given. -5005; -22 for a negative length and for more bytes
 * than the frame carries. */
DESKREADER_API int M1_WriteBlock(DEVCONTEXT* pContext, unsigned char nBlock,
                                 const unsigned char* szData, int iDataLen, int iTimeout);

/* Write a value block (-5007), add to one (-5008) and subtract from one (-5009). The value has 4
 * bytes, least significant first; the length is not read. */
DESKREADER_API int M1_WriteValue(DEVCONTEXT* pContext, unsigned char nBlock,
                                 const unsigned char* szValue, int iValueLen, int iTimeout);
DESKREADER_API int M1_Increment(DEVCONTEXT* pContext, unsigned char nBlock,
                                const unsigned char* szValue, int iValueLen, int iTimeout);
DESKREADER_API int M1_Decrement(DEVCONTEXT* pContext, unsigned char nBlock,
                                const unsigned char* szValue, int iValueLen, int iTimeout);

/* M1_Increment and M1_Decrement with the value as a number. */
DESKREADER_API int M1_IncreaseValue(DEVCONTEXT* pContext, unsigned char nBlock, unsigned nValue,
                                    int iTimeout);
DESKREADER_API int M1_DecreaseValue(DEVCONTEXT* pContext, unsigned char nBlock, unsigned nValue,
                                    int iTimeout);

/* ==== Cards: identity cards ===================================================================
 *
 * The commands of the reader's identity module. The caller switches the reader into ID mode and to
 * the module's baud rate before, and back after. All return 0 or ID_SendCmd's number; outputs are
 * written only on success. -22 for a null output. Time limits are milliseconds. */

/* A handle that hosts may set: while it is not null, all commands but ID_SetIdBaud return 0 at once
 * and do nothing. Null at load; nothing here sets it. */
DESKREADER_API extern void* g_hSdtDll;

/* "//sdtapi.dll"; nothing here reads it. */
DESKREADER_API extern char g_szSdtDllName[260];

/* Resets the module. -3000 when it refuses. */
DESKREADER_API int ID_ResetCard(DEVCONTEXT* pContext, int iTimeout);

/* Searches for a card, and selects the one found. -3001 for no card, -3002 for any other status. */
DESKREADER_API int ID_FindCard(DEVCONTEXT* pContext, int iTimeout);
DESKREADER_API int ID_SelectCard(DEVCONTEXT* pContext, int iTimeout);

/* Read the selected card: 256 bytes of text, 1,024 of photo and, with _FP, 1,024 of fingerprint,
 * where the card has them. Provide 4096 bytes: what follows the blocks means nothing, and the
 * length counts 8 bytes more than the blocks, and on USB HID also the zeros that
 * fill the last report. -3001 when the card could not be read, -3002 for any other status. */
DESKREADER_API int ID_ReadCard(DEVCONTEXT* pContext, unsigned char* szRecord, int* pnRecordLen,
                               int iTimeout);
DESKREADER_API int ID_ReadCard_FP(DEVCONTEXT* pContext, unsigned char* szRecord, int* pnRecordLen,
                                  int iTimeout);

/* Sets the module's baud rate: 9600, 19200, 38400, 57600 or 115200; -1007 for all others, without
 * traffic. -3004 when the module refuses. */
DESKREADER_API int ID_SetIdBaud(DEVCONTEXT* pContext, int iBaud, int iTimeout);

/* Does nothing, and returns 0. RD_ChangeMode calls it where "IdChange" is 2. */
DESKREADER_API int ID_ChangeSDT(int iMode);

/* Does nothing: *pnExpired stays as it is. */
DESKREADER_API void ID_IsTimeOut(const char* szValidEnd, int* pnExpired);

/* ==== Cards: identity card fields =============================================================
 *
 * Each takes one field out of a record as ID_ReadCard or ID_ReadCard_FP gives it and writes it as
 * terminated GB 18030 text, followed by one zero byte more. -22 for a null pointer. Clear the
 * buffer first and provide the bytes that stand with the function. A record of 256 bytes will do
 * except for the blocks.
 *
 * One layout of text serves three kinds of card, of which ID_GetCardType tells: "N" the resident
 * identity card, "J" the residence card for residents of Hong Kong, Macau and Taiwan, "I" the
 * foreign permanent resident's card, whose functions end in _Foreign. */

/* Fields as they stand, filled with spaces or not. Return the bytes written, two zero bytes
 * included. */
DESKREADER_API int ID_GetNationCode(const unsigned char* szRecord, char* szText);         /* 10 */
DESKREADER_API int ID_GetBirth(const unsigned char* szRecord, char* szText);              /* 34 */
DESKREADER_API int ID_GetCardNumber(const unsigned char* szRecord, char* szText);         /* 74 */
DESKREADER_API int ID_GetIssueTimes_GAT(const unsigned char* szRecord, char* szText);     /* 10 */
DESKREADER_API int ID_GetCardNumber_Foreign(const unsigned char* szRecord, char* szText); /* 62 */
DESKREADER_API int ID_GetNationCode_Foreign(const unsigned char* szRecord, char* szText); /* 14 */
DESKREADER_API int ID_GetBirth_Foreign(const unsigned char* szRecord, char* szText);      /* 34 */
DESKREADER_API int ID_GetCardVer_Foreign(const unsigned char* szRecord, char* szText);    /* 10 */
DESKREADER_API int ID_GetPoliceCode_Foreign(const unsigned char* szRecord, char* szText); /* 18 */

/* The same; the integer is not read. 6 bytes. */
DESKREADER_API int ID_GetSexCode(const unsigned char* szRecord, int iReserved, char* szText);
DESKREADER_API int ID_GetSexCode_Foreign(const unsigned char* szRecord, int iReserved,
                                         char* szText);

/* Fields cut by ID_FilterSpaces. Return the text's length. */
DESKREADER_API int ID_GetName(const unsigned char* szRecord, char* szText);                /* 62 */
DESKREADER_API int ID_GetAddress(const unsigned char* szRecord, char* szText);             /* 142 */
DESKREADER_API int ID_GetPolice(const unsigned char* szRecord, char* szText);              /* 62 */
DESKREADER_API int ID_GetValidStart(const unsigned char* szRecord, char* szText);          /* 34 */
DESKREADER_API int ID_GetValidEnd(const unsigned char* szRecord, char* szText);            /* 34 */
DESKREADER_API int ID_GetCardNo_GAT(const unsigned char* szRecord, char* szText);          /* 38 */
DESKREADER_API int ID_GetEnglishName_Foreign(const unsigned char* szRecord, char* szText); /* 242 */
DESKREADER_API int ID_GetChineseName_Foreign(const unsigned char* szRecord, char* szText); /* 62 */
DESKREADER_API int ID_GetValidStart_Foreign(const unsigned char* szRecord, char* szText);  /* 34 */
DESKREADER_API int ID_GetValidEnd_Foreign(const unsigned char* szRecord, char* szText);    /* 34 */

/* Cuts a text, in place, at the beginning of its last run of spaces, also where something else
 * follows it ("AB CD" becomes "AB"). A text whose last run is its beginning stays. Returns the
 * length. */
DESKREADER_API int ID_FilterSpaces(char* szText);

/* "N", "I" or "J". 6 bytes. Returns 1. */
DESKREADER_API int ID_GetCardType(const unsigned char* szRecord, char* szText);

/* The sex in words: code 1 male, 2 female, any other unknown. 6 bytes; the integer is not read.
 * Return the text's length. */
DESKREADER_API int ID_GetSex(const unsigned char* szRecord, int iReserved, char* szText);
DESKREADER_API int ID_GetSex_Foreign(const unsigned char* szRecord, int iReserved, char* szText);

/* The name of the ethnic group (GB/T 3304), without suffix: code 1 to 56, 97 others, 98 a foreigner
 * by descent; empty for any other code. 32 bytes. Returns the text's length. */
DESKREADER_API int ID_GetNation(const unsigned char* szRecord, char* szText);

/* The first row of szCitizenship in which the card's code stands, anywhere; the code itself if
 * there is none. 32 bytes, cleared before: a row is copied without terminator. Returns the length
 * of what was found. */
DESKREADER_API int ID_GetNation_Foreign(const unsigned char* szRecord, char* szText);

/* Countries and territories: Chinese name, '/' and the alpha-3 code of ISO 3166-1 (some are those
 * of former times), terminated GB 18030 text. The order decides which row is found. */
DESKREADER_API extern const char szCitizenship[239][32];

/* Blocks of bytes. Return their size. */
DESKREADER_API int ID_GetPhotoInfo(const unsigned char* szRecord,
                                   unsigned char* szPhoto); /* 1024, at 256 of the record */
DESKREADER_API int ID_GetFPInfo(const unsigned char* szRecord,
                                unsigned char* szFingerprint); /* 1024, at 1280 */
DESKREADER_API int ID_GetASICSerialNumber_GAT(const unsigned char* szRecord,
                                              unsigned char* szNumber); /* 8, at 2304 */
DESKREADER_API int ID_GetSerialCardNumber_GAT(const unsigned char* szRecord,
                                              unsigned char* szNumber); /* 16, at 2312 */

/* ==== Cards: identity card photo ==============================================================
 *
 * The 1,024-byte photo block (ID_GetPhotoInfo) is decoded by a library that is not part of this
 * one: "./libwlt.so" in the process's working directory, with
 *     int unpack(const unsigned char* szPhoto, unsigned char* szPixels, int iSetting);
 * It gets 788 as the setting, writes 102 x 126 pixels of three bytes, the lowest row first, into
 * 40960 bytes, and returns a negative number when it fails. */

/* Writes the photo as a BMP file of 24 bits a pixel (38862 bytes, rows filled up with FF), in the
 * place of what has that name. Returns 0; -1 without the decoder (information is logged), -2
 * without its function, -3 when it fails or the file cannot be written, -22 for a null pointer. The
 * decoder stays loaded after -2, and after -3 if it was it that failed. */
DESKREADER_API int ID_GetBmpFile(const unsigned char* szPhoto, const char* szBmpPath);

/* Do nothing and return 0. */
DESKREADER_API int ID_GetBmpData(const unsigned char* szPhoto, int iReserved,
                                 unsigned char* szPhotoData, int* pnPhotoDataLen);
DESKREADER_API int ID_GetFrontBackImg(const unsigned char* szRecord, const unsigned char* szPhoto,
                                      char* szFrontImg, char* szBackImg);

/* ==== API: connection and device ==============================================================
 *
 * All on the one `context`. Results are API numbers unless said otherwise; every failure is logged.
 * A port is 0 for USB HID (2E8B:0142) or 1 to 255 for the serial port of that index. The
 * pass-through port is a character '1' to 'Y', any other value selects none. */

/* The baud rate at which RD_Open found the reader, 9600 at load; RD_Close returns it to that. */
DESKREADER_API extern long long g_DevBaud;

/* 1 ends a wait for a card with -1006, within 100 ms. */
DESKREADER_API extern int g_IsCancelWait;

/* Open, read the device's information unless iNoInfo is not 0, and close again. -1001 when the
 * information could not be read. Provide 256 bytes for it; it is not terminated. */
DESKREADER_API int RD_InitConnect(int iPort, int iBaud, int iBpPort, int iNoInfo, int iReserved,
                                  char* szInfo, int* pnInfoLen);
DESKREADER_API int RD_InitConnect_PID(int iVid, int iPid, int iReserved, char* szInfo,
                                      int* pnInfoLen);

/* Opens the reader, then brings it and a serial port to the configured "DevBaud". An open reader
 * stays as it is. What becomes of the change of rate is not reported. */
DESKREADER_API int RD_Open(int iPort, int iBaud, int iBpPort);
DESKREADER_API int RD_Open_PID(int iVid, int iPid);

/* Cancels what waits, turns the reader back to g_DevBaud, closes. Returns 0. */
DESKREADER_API int RD_Close(void);

/* Cancels what waits and forgets the connection, without a word to the reader and without closing
 * the device. Returns 0. */
DESKREADER_API int RD_DisConnect(void);

/* Reads the device's information: provide 256 bytes; it is not terminated. With iNoInfo other than
 * 0 returns 0 at once. */
DESKREADER_API int RD_GetDevInfo(int iNoInfo, char* szInfo, int* pnInfoLen);

/* Cancels the read in which another thread waits, and pauses 200 ms. Returns 0. */
DESKREADER_API int RD_Cancel(void);

/* Cancels the wait for a card in another thread. Returns 0 at once. */
DESKREADER_API int RD_CancelWait(void);

/* Cancels what waits, then resets the reader. */
DESKREADER_API int RD_Reset(void);

/* Selects a pass-through port. Returns 0. */
DESKREADER_API int RD_SetBpPort(int iBpPort);

/* Switches the reader's module: 0 normal, 1 IC, 2 identity cards. "IdChange" 1 does it by command
 * (see Ovan_ChangeMode), 2 through ID_ChangeSDT; any other value does nothing and returns 0. */
DESKREADER_API int RD_ChangeMode(int iMode);

/* Changes the host's serial rate and stores the old one, reopening an open port. Over USB HID
 * *pnOldBaud is read for the log and not written. */
DESKREADER_API int RD_ChangeBaud(int iBaud, long long* pnOldBaud);

/* Tells a reader on a serial port to change its rate, if it differs from the port's. */
DESKREADER_API int RD_SetDevBaud(int iBaud);

/* Sounds the beeper (see IC_Beep). */
DESKREADER_API int RD_Beep(int iDuration, int iParam1, int iParam2);

/* Sets the contact slot (see IC_SetSlot). */
DESKREADER_API void RD_SetSlot(int iSlot);

/* The device's serial number as terminated text: provide 33 bytes. After a failure it is empty and
 * the length 0. Returns IC_GetDevAllInfo's number, which is not mapped. */
DESKREADER_API int RD_GetDevSn(char* szSn, int* pnSnLen);

/* Writes the serial number, at most 32 characters. Returns IC_SetDevSn's number, which is not
 * mapped. */
DESKREADER_API int RD_SetDevSn(const char* szSn, int iSnLen);

/* ==== API: error numbers ====================================================================== */

/* Logs a code other than 0 and returns its API number: -1 becomes -1014, -2 -1000, -16 -1002, -19
 * -1003, -22 -1007, -62 -1004, -74 -1013, -125 -1006; all others stay. */
DESKREADER_API int RD_GetErrorCode(int iErrorCode);

/* The message text of an API number, Chinese in UTF-8 and terminated, and its length in bytes:
 * provide 56 bytes, iBufferSize is not consulted. Returns 0. */
DESKREADER_API int RD_GetErrInfo(int iErrorCode, int iBufferSize, char* szText, int* pnTextLen);

/* The terminal number of an API number; -99 for those without one. */
DESKREADER_API int Ovan_GetErrorCode(int iErrorCode);

/* ==== API: IC cards ===========================================================================
 *
 * The slot is 0 for the contact card, 1 for the contactless one, any other value for whichever is
 * there, contact first. */

/* The kind of card that answered the last power-on: 0 contact, 1 contactless. */
DESKREADER_API extern int g_IcType;

/* Powers a card and gives its answer to reset as hexadecimal text, at most iAtrBufSize characters
 * and unterminated (provide 512), and its kind. Without a card tries again about every second, for
 * iTimeout seconds or, with 0, without end. Returns 0; -1007 for a negative limit; -1006 when
 * cancelled (outputs untouched); -4005 or -4000 when the time is over; with iTimeout 0 -4001 for
 * any other failure, else its number. After a failure the text is empty and *pnAtrLen 0. */
DESKREADER_API int RD_IcPowerOn(int iSlot, int iAtrBufSize, char* szAtr, int* pnAtrLen,
                                int* pnIcType, int iTimeout);

/* Powers the card off; with an automatic slot the kind that was powered on. */
DESKREADER_API int RD_IcPowerOff(int iSlot);

/* One command, as 2 to 1024 upper-case hexadecimal digits, and its response, unterminated: provide
 * 2048 characters. The whole of szApdu must be such digits, also behind iApduLen. With an automatic
 * slot the kind powered on last is tried first, then the other. Returns 0; -1007 for a bad text;
 * the exchange's number. Without a response *pnResponseLen is -22. */
DESKREADER_API int RD_IcAPDU(int iSlot, const char* szApdu, int iApduLen, int iReserved,
                             char* szResponse, int* pnResponseLen);

/* Asks for a card (see IC_CardDetect). Returns IC_CardDetect's number, which is not mapped. */
DESKREADER_API int RD_CardDetect(int* pnStatus);

/* 1 if every character is an upper-case hexadecimal digit (an empty text is), else 0; 0 for null.
 */
DESKREADER_API int IsHexDataValue(const char* szText);

/* ==== API: payment cards ======================================================================
 *
 * Whole flows with a debit/credit card (PBOC, EMV Book 3). Slot and time limit go to RD_IcPowerOn;
 * the kind of card that answered takes the commands. A failed step is logged and returned as it is:
 * -4100 (directory), -4101 (application list), -4102 (application), -4103 (data object list), -4104
 * (processing options); a failed power-on returns RD_IcPowerOn's number. The card is powered off at
 * the end, also after a failure. Reserved arguments are not read. */

/* The card's public data for the letters A to N in szTagList, in the order of the letters: each
 * field is its letter, three digits of length and the value, at most 255 characters; 000 for what
 * the card lacks. Terminated: provide 3627 bytes.
 *
 *   A PAN (hexadecimal, without padding)     H e-cash balance limit        (hexadecimal)
 *   B cardholder name (bytes)                I expiry date                 (hexadecimal)
 *   C cardholder ID type (hexadecimal)       J PAN sequence number         (hexadecimal)
 *   D cardholder ID number (bytes)           K e-cash reset threshold      (hexadecimal)
 *   E track 2 ('=' for D, no padding)        L e-cash transaction limit    (hexadecimal)
 *   F track 1 discretionary data (hex.)      M effective date              (hexadecimal)
 *   G e-cash balance (hexadecimal)           N product information         (bytes)
 *
 * -1007 for a list without a capital letter. */
DESKREADER_API int RD_ICGetInfo(int iSlot, const char* szTagList, int iReserved, char* szOut,
                                int iTimeout);

/* The transaction log and the e-cash load log: two digits with the number of entries, three with
 * the length of one, then the entries; terminated. An entry is fields as above, P Q R S T U V W X
 * or O P Q S U V W X. Entries that no longer fit 4096 characters are left out: provide 4102 bytes.
 * A card record shorter than the layout reads as zeros. -4117 for a card without transaction log,
 * -4103 for one without load log; the load log also fails with -4100 when the application is
 * blocked. */
DESKREADER_API int RD_ICGetDetail(int iSlot, int iReserved, char* szOut, int iTimeout);
DESKREADER_API int RD_ICGetCircllog(int iSlot, int iReserved, char* szOut, int iTimeout);

/* The last application's identifier and records, for the completion: six decimal digits with the
 * length of what follows, tag 4F with the identifier, the records, a zero. */
DESKREADER_API extern unsigned char g_IccAppData[8000];

/* The first half of an online transaction. szTxData holds fields as above (letter, three digits,
 * value), each optional: P amount, Q other amount, R currency, T type (hexadecimal), S date, U time
 * (decimal), V merchant name (20 bytes); what is shorter gets zeros in front, what is longer keeps
 * its end. They go into g_szTxData, where an absent field leaves what an earlier transaction left.
 * Gives the data for the issuer as hexadecimal text of data objects (9F26 9F27 9F10 9F37 9F36 95 9A
 * 9C 9F02 5F2A 82 9F1A 9F03), at most iOutSize characters, terminated if there is room: provide
 * 2400. *pnIcType is the kind of card.
 *
 * The card stays powered after success. -1007 for a text that is empty or longer than 1024
 * characters, or for a field with other characters; -4105 without CDOL1, -4107 when the card gives
 * no cryptogram. A card that answers GENERATE AC in format 2 gives an empty cryptogram: zeros in
 * 9F26, 9F27 and 9F36. */
DESKREADER_API int RD_ICGenARQC(int iSlot, const char* szTxData, int iOutSize, char* szOut,
                                int* pnIcType, int iTimeout);

/* The data objects of that reply from what GENERATE AC answered: objects with tag 9F26, or the
 * fixed layout of format 1 (zeros for what a shorter one lacks). Provide 1200 bytes. Returns 0. */
DESKREADER_API int PBOC_BuildARQCBack(const unsigned char* szAcData, int iAcLen,
                                      unsigned char* szOut, int* pnOutLen);

/* The second half, on the card that RD_ICGenARQC left powered; iSlot is the kind of card that it
 * gave. szArpc is what the issuer answered, as upper-case hexadecimal text of at most 1024
 * characters: 91 (authentication data with the response code in bytes 8 and 9), 9F18, scripts 71
 * and 72 with commands 86. The card is always powered off at the end.
 *
 * RD_ICExeScript_TC authenticates the issuer, stores the response code (tag 8A) and the fields P to
 * V of szTxData, and asks the card for its last cryptogram over CDOL2 (tag 8D in g_IccAppData): for
 * the codes "00", "10" and "11" a TC, which must not be declined (-4114); for "01" and "02" both,
 * unchecked; for all others an AAC, and -4115 when the card gives one, as it should. szTc gets the
 * value of tag 80 as hexadecimal text, unterminated (provide 1024 bytes), also with -4114 and
 * -4115. Then the scripts run, if there are any.
 *
 * szResult gets the script result (provide 17 bytes, or iResultSize if that is more): "DF3105", 1
 * for failed or not run and 2 for done, the failed command's number plus 1 as one digit (F for 15
 * and more, and when the exchange failed), 8 digits with the script's identifier (9F18), which is
 * written only as far as iResultSize reaches and terminated where it is longer. Returns 0; -1007
 * (nothing is written) for a text that is empty, too long or has other characters; -4111 without
 * CDOL2; -4103; -4109 without tag 91 or when the card refuses it; -4110 for a failed script.
 *
 * RD_ICExeScript only authenticates and runs the scripts; no script is -4109, as is a failed one,
 * and the identifier stays 0. Its transaction text is checked and not used. */
DESKREADER_API int RD_ICExeScript_TC(int iSlot, const char* szTxData, const char* szArpc,
                                     int iResultSize, char* szResult, int iReserved, char* szTc);
DESKREADER_API int RD_ICExeScript(int iSlot, const char* szTxData, const char* szArpc,
                                  int iReserved, char* szResult);

/* ==== API: magnetic cards ====================================================================
 *
 * A selection is its tracks as decimal digits: 1, 2, 3, 12, 13, 23 or 123. iMode has no meaning.
 * Reads and writes end with a reset of the stripe module, whatever became of them; refused
 * arguments (-1007) send nothing. A time limit of more than 2,147,483 seconds counts as 24 days. */

/* Resets the stripe module. Returns 0. */
DESKREADER_API int RD_ResetMsr(void);

/* Reads the tracks that the selection names as texts, and their lengths. Capacities are bytes, and
 * a text is terminated if it leaves room for it; with 23 iCap2 goes for both tracks: provide iCap2
 * bytes for track 3 too. The buffers that are named are cleared first. A track that is not named
 * may be null, or else gets what the reply holds for it; its length is not written. Another
 * selection needs all six pointers, reads nothing and returns 0 with empty texts.
 *
 * A track that is one byte 7F, or "00000", could not be read: its text is emptied, its length stays
 * 1 or 5, and the result says which: -2001, -2002, -2003, or -2106 (1 and 2), -2107 (1 and 3),
 * -2004 (2 and 3), -2000 (all) for tracks that hold the same of the two. The first of these that
 * applies is the result, pairs before single tracks and lower tracks before higher; tracks that it
 * does not name stay as they are. Returns 0; -1007 for a negative time limit or a null pointer
 * among those that are named; otherwise MSR_ReadTrack's number, mapped. */
DESKREADER_API int RD_ReadMagCard(int iMode, int iTracks, int iCap1, char* szTrack1,
                                  int* pnTrack1Len, int iCap2, char* szTrack2, int* pnTrack2Len,
                                  int iCap3, char* szTrack3, int* pnTrack3Len, int iTimeout);

/* Writes tracks 2 and 3, or the one whose text can be written: 1 to 120 characters out of
 * 0123456789='@#: . Of two texts the good one is written without a word about the bad one. Track 1
 * and the lengths are not read. Returns 0; -1007 when there is nothing to write or for a negative
 * time limit; otherwise MSR_WriteTrack's number, mapped. */
DESKREADER_API int RD_WriteMagCard(int iMode, const char* szTrack1, int iTrack1Len,
                                   const char* szTrack2, int iTrack2Len, const char* szTrack3,
                                   int iTrack3Len, int iTimeout);

/* Reads the tracks and gives the card number in them (see MSR_GetCardNo for iKind): in the one
 * track for 1, 2 and 3, otherwise in tracks 1, 2 and 3 after each other with "|" between them, so
 * that a track without the end character is passed over. A failed track 2 or 3 alone does not end
 * it. Terminated: provide 256 bytes. Returns 0; -2105 without a card number, and then what was
 * collected; -1007 for a null pointer; otherwise RD_ReadMagCard's number, and nothing is written.
 */
DESKREADER_API int RD_GetMagCardNo(int iMode, int iTracks, int iKind, char* szCardNo,
                                   int* pnCardNoLen, int iTimeout);

/* 1 if every character can be written on a track (an empty text can), else 0; 0 for null. */
DESKREADER_API int IsTrackDataValue(const char* szText);

/* ==== API: MIFARE Classic =====================================================================
 *
 * RD_M1Powerup, RD_M1Verify for a sector, blocks and values of that sector, RD_M1Powerdown. Blocks
 * are numbered from 1 without an upper bound (the low byte goes out), data are hexadecimal text in
 * upper case. A bad argument is refused with its number before the reader hears of it: -1007 for a
 * null pointer, -5010 block, -5011 sector, -5012 and -5013 data, -5014 key, -5015 key type, -5016
 * amount. Otherwise the number of the M1_ function comes back mapped (see RD_GetErrorCode). */

/* Activates a card and gives its answer as text, at most iUidBufSize characters and unterminated
 * (provide 512), with the length. Without a card tries again about every second, for iTimeout
 * seconds or, with 0, without end. Returns 0; -1007 for a negative limit; -1006 when cancelled
 * (outputs untouched); -4001 when it failed after exactly iTimeout attempts without a card, which
 * with iTimeout 0 is any failure; else the number of the last attempt. After a failure the text is
 * empty and *pnUidLen 0; without room *pnUidLen is -22. */
DESKREADER_API int RD_M1Powerup(int iUidBufSize, char* szUid, int* pnUidLen, int iTimeout);

/* Halts the card. */
DESKREADER_API int RD_M1Powerdown(void);

/* Authenticates a sector, 1 to 40, with key A (0) or key B (1). The key has 12 digits or more, all
 * of which are sent (see M1_Verify); a character that is no hexadecimal digit counts as 0. */
DESKREADER_API int RD_M1Verify(int iSector, int iKeyType, const char* szKey);

/* Read a block, and the value in a value block, as text: at most iOutSize characters, unterminated,
 * with no length told; clear 33 or 9 characters before. A failure writes nothing. */
DESKREADER_API int RD_M1ReadBlock(int iBlock, int iOutSize, char* szOut);
DESKREADER_API int RD_M1Read(int iBlock, int iOutSize, char* szOut);

/* Writes a block: 32 digits. */
DESKREADER_API int RD_M1WriteBlock(int iBlock, const char* szData);

/* Write a value block, add to one, subtract from one: 8 digits, least significant byte first. */
DESKREADER_API int RD_M1Write(int iBlock, const char* szValue);
DESKREADER_API int RD_M1Increment(int iBlock, const char* szValue);
DESKREADER_API int RD_M1Decrement(int iBlock, const char* szValue);

/* Add and subtract an amount of 1 to 2147483647. */
DESKREADER_API int RD_M1IncreaseValue(int iBlock, unsigned nValue);
DESKREADER_API int RD_M1DecreaseValue(int iBlock, unsigned nValue);

/* ==== API: Ultralight cards ===================================================================
 *
 * MIFARE Ultralight C, on the five M0_ functions that another library provides (they stand at the
 * end of this header). Where one is missing that a function may come to need, it returns -1008 and
 * the log says which. A bad argument is refused first: -1007 for a null pointer, -5106 for a
 * negative page. Otherwise the number of the M0_ function comes back mapped (see RD_GetErrorCode).
 */

/* As RD_M1Powerup, but iTimeout counts attempts, about one a second; -4001 after as many. */
DESKREADER_API int RD_M0PowerOn(int iUidBufSize, char* szUid, int* pnUidLen, int iTimeout);

/* Halts the card. */
DESKREADER_API int RD_M0PowerOff(void);

/* Reads from a page on, as text: at most iOutSize characters, unterminated, with no length told.
 * What iCount counts is up to M0_ReadBlock. */
DESKREADER_API int RD_M0Read(int iPage, int iCount, int iOutSize, char* szOut);

/* Writes a page: decimal digits, two a byte, packed as GAnsi2BCD does, up to 256 bytes. -1007 for
 * an empty or a longer text. */
DESKREADER_API int RD_M0Write(int iPage, const char* szData);

/* Proves to the card that the host has its key, and has the card prove the same: triple DES with
 * two keys in cipher-block chaining. A key has 32 hexadecimal digits (a character that is none
 * counts as 0); iKeyLen 33 is taken too, and the 33rd character is not read. -1007 for another
 * length or a shorter text; -1013 for a card that offers no authentication; -99 when it did not
 * prove itself. Seeds the C library's rand() with the time. After a failure the card is halted. */
DESKREADER_API int RD_M0VerifyKey(int iKeyLen, const char* szKey);

/* Stores a key, given as above, in the card's pages 2D, 2C, 2F and 2E, in this order. -5105, and
 * the card halted, when a page could not be written; those before it are then written. */
DESKREADER_API int RD_M0DownKey(int iKeyLen, const char* szKey);

/* ==== API: identity cards =====================================================================
 *
 * Each call brings the reader into ID mode and the port to the configured "IdBaud", and both back
 * at its end, whatever happens. A reader on a serial port should not answer the mode command:
 * nobody waits for the two bytes there, and they would stand before the module's first answer and
 * hide it, unless they come before the port is opened anew for an "IdBaud" other than its rate.
 *
 * A read searches for a card about every second, for iTimeout seconds or, with 0, without end; then
 * it selects and reads what is there. It returns 0; -1007 for a negative limit, a path of more than
 * 260 bytes and a null szInfo or pnInfoLen; -1006 when cancelled; -3000 for a module that does not
 * answer as it should; -3001 for no card, -3002 when the card cannot be read. When the limit is
 * over, the card is selected all the same and the result is what comes of that; with iTimeout 0 it
 * is -3001 for any other failure of the search.
 *
 * The text is GB 18030, "|" between fields, terminated:
 *
 *      card type "N"       "J"                 "I"
 *      resident            from Hong Kong,     foreigner
 *                          Macau, Taiwan
 *    1 name                name                English name
 *    2 sex                 sex                 sex
 *    3 ethnic group                            country, "/" and code
 *    4 date of birth       date of birth       date of birth
 *    5 address             address
 *    6 identity number     identity number     card number
 *    7 issuing authority   issuing authority   code of it
 *    8 valid from          valid from          valid from
 *    9 valid until         valid until         valid until
 *   10 N                   J                   I
 *   11                                         Chinese name
 *   12                                         version of the card
 *   13                     pass number
 *   14                     number of issues                                                      */

/* Resets the ID module. */
DESKREADER_API int RD_IdReset(void);

/* Sets the ID module's baud rate (see ID_SetIdBaud). -1007 for a rate that it does not know. */
DESKREADER_API int RD_SetIdBaud(int iBaud);

/* Reads a card and tells whether that went well. Nothing is written; both pointers may be null. */
DESKREADER_API int RD_GetIdRawData(unsigned char* szRawData, int* pnRawDataLen, int iTimeout);

/* Reads a card into the text above, always all fields: provide 544 bytes. With a path that is
 * neither null nor empty its photo becomes a file (see ID_GetBmpFile):
 * - a path with ".bmp" in it is that file; its directory is made, up to the last backslash or,
 *   without one, the last slash;
 * - a path without any of ".bmp", ".jpg", ".png" and ".gif" is a directory, which is made, and the
 *   file in it is named by field 6 and ".bmp"; a number with a slash in it names none;
 * - any other path is a file that "./libPicConvert.so" makes of temp.bmp, a file that is written to
 *   the same directory and deleted afterwards, with
 *       int BmpToJpg(const char* szBmpPath, const char* szTarget, int iQuality);
 *   of quality 60. If the path has a slash, a DIRECTORY of its whole name is made first: name a
 * file that exists, or one in the working directory. Directories are made with mode 0007, in which
 * only a privileged process can write.
 *
 * Returns also -3003 for a BMP file that could not be written; for the third kind of path, in this
 * order, ID_GetBmpFile's number, -1009 without the library, -1010 without its function, or what the
 * function returns. The text is written in all these cases.
 *
 * *pnExpired stays as it is (0 is stored where "valid until" is "long-term" in UTF-8, which no card
 * has). Nothing is written to szPhotoData and pnPhotoDataLen. All three may be null. */
DESKREADER_API int RD_ReadIdInfo(const char* szBmpPath, int iReserved, char* szInfo, int* pnInfoLen,
                                 int* pnExpired, int iReserved2, unsigned char* szPhotoData,
                                 int* pnPhotoDataLen, int iTimeout);

/* Read a card into the text above, of which fields 13 and 14 are there for "J" only: provide 544
 * bytes. The path is checked and not used. The two images, either may be null, become empty texts.
 */
DESKREADER_API int RD_ReadIdInfo_Pic(const char* szPicPath, int iReserved, char* szInfo,
                                     int* pnInfoLen, int iTimeout);
DESKREADER_API int RD_ReadIdInfo_Pic_FB(const char* szPicPath, int iReserved, char* szInfo,
                                        int* pnInfoLen, char* szFrontImg, char* szBackImg,
                                        int iTimeout);

/* ==== API: social security cards ============================================================== */

/* The card's thirteen basic elements with "|" between them, appended to the text in szOut, which
 * must be terminated: provide 1300 bytes for them. In order: identification code, type, version,
 * organisation, issue date, expiry date (hexadecimal), card number, social security number, name,
 * sex (bytes up to the first zero), nationality, place and date of birth (hexadecimal). An element
 * that the card lacks is empty. The card stays powered after success and is powered off after a
 * failure: -4100 when directory or file cannot be selected, otherwise the number of the record that
 * could not be read. */
DESKREADER_API int RD_SSCReadInfo(int iSlot, char* szOut, int iTimeout);

/* ==== Terminal: payment flows =================================================================
 *
 * The payment flows with what host terminals need: *pnIcType is the slot and, on success, becomes
 * the kind of card (0 contact, 1 contactless). A failed power-on is tried once more in the other
 * command frame, and "Iccmd" in config.ini keeps the change (0 to 1, 1 to 0; with any other number
 * the flow goes on without a card). szAid names the application in hexadecimal digits, at most 256
 * bytes; when it is empty or null the directory does. Results are those of the base flows. */

/* As RD_ICGetInfo, with the letters A to L, and -4103 for a card without PDOL. Provide 3109 bytes.
 *
 *   A PAN (hexadecimal, without padding)       G PAN sequence number           (hexadecimal)
 *   B track 2 (hexadecimal)                    H transaction counter           (hexadecimal)
 *   C e-cash balance (hexadecimal)             I cardholder ID type            (hexadecimal)
 *   D e-cash balance limit (hexadecimal)       J cardholder ID number          (bytes)
 *   E expiry date (hexadecimal)                K cardholder name               (bytes)
 *   F e-cash transaction limit (hexadecimal)   L cardholder name, extended     (bytes) */
DESKREADER_API int RD_ICGetInfo_KP(int* pnIcType, const char* szAid, const char* szTagList,
                                   int iReserved, char* szOut, int iTimeout);

/* As RD_ICGenARQC, and -4103 for a card without PDOL. szTxData has the fields J to V, all
 * hexadecimal but V; one with other characters is left out: J terminal country code, K
 * unpredictable number (none is drawn), L terminal verification results, M transaction qualifiers,
 * N e-cash support, O e-cash limit, then as there. The issuer's data are followed by 9F33, 9F13, 5A
 * and 5F34: provide 4000 bytes. szIccAppData gets what SELECT answered as terminated hexadecimal
 * text: provide 1025 bytes; written on success only. */
DESKREADER_API int RD_ICGenARQC_KP(int* pnIcType, const char* szAid, const char* szTxData,
                                   int iOutSize, char* szOut, int iTimeout, char* szIccAppData);

/* As RD_ICExeScript_TC, but CDOL2 is looked for in the application data given, and a failed script
 * is -4109. The data are objects, or the content of g_IccAppData. What SELECT answered for the
 * application that g_IccAppData holds, as RD_ICGenARQC_KP gives it out, stands for those data. */
DESKREADER_API int RD_ICExeScript_KP(int iSlot, const char* szTxData, const char* szArpc,
                                     int iResultSize, char* szResult, int iReserved, char* szTc,
                                     int iAppDataLen, const unsigned char* szAppData);

/* As RD_ICGetDetail. */
DESKREADER_API int RD_ICGetDetail_KP(int* pnIcType, const char* szAid, int iReserved, char* szOut,
                                     int iTimeout);

/* ==== Terminal: IC cards ======================================================================
 *
 * One call each: opens the reader, runs the flow above, closes. pszPort is "USB" or the name of a
 * serial device under /dev, which becomes serial port 1; the first character of extendPort selects
 * the reader's pass-through port (none when it is null or empty); nTimeout in seconds. *pnIcType is
 * 1 for contact, 2 for contactless, 3 for either, and is written back. pszAIDlist is the
 * application to select, of which 63 characters are looked at. All return terminal numbers
 * (Ovan_GetErrorCode); a negative time limit or a null pointer is -1 before anything is opened (the
 * extend port may be null, and the list too, except for IC_GetInfo). Once the reader is open the
 * texts are always terminated and the lengths set to theirs; before, nothing is written. */

/* Provide 3109 bytes; the length's value on entry is not looked at. */
DESKREADER_API int IC_GetInfo(const char* pszPort, const char* extendPort, int nBaudRate,
                              int nTimeout, int* pnIcType, const char* pszAIDlist,
                              const char* pszTaglist, int* pnUsrInfoLen, char* pszUserInfo);

/* *pnARQCLen is the room in pszARQC (4000 holds every answer), which is terminated if the text is
 * shorter. Provide 1025 bytes for pszIcc_appdata, which goes to IC_CtlScriptData. The card stays
 * powered. */
DESKREADER_API int IC_GenARQC(const char* pszPort, const char* extendPort, int nBaudRate,
                              int nTimeout, int* pnIcType, const char* pszAIDlist,
                              const char* pszTxData, int* pnARQCLen, char* pszARQC,
                              char* pszIcc_appdata);

/* pszIcc_appdata: hexadecimal, at most 8192 bytes are looked at; empty is -1. Provide 1025 bytes
 * for pszTC and 1024 for pszScriptResult. */
DESKREADER_API int IC_CtlScriptData(const char* pszPort, const char* extendPort, int nBaudRate,
                                    int nTimeout, int* pnIcType, const char* pszTxData,
                                    const char* pszARPC, int* pnTCLen, char* pszTC,
                                    char* pszScriptResult, const char* pszIcc_appdata);

/* Provide 4102 bytes. */
DESKREADER_API int IC_GetTranDeta(const char* pszPort, const char* extendPort, int nBaudRate,
                                  int nTimeout, int* pnIcType, const char* pszAIDlist,
                                  int* pnTxDetailLen, char* pszTxDetail);

/* ==== Terminal: magnetic cards ================================================================
 *
 * One call opens the reader, reads or writes tracks, closes it and returns a terminal number. The
 * port is "USB" for USB HID, any other text the serial device /dev/TEXT (at most 58 characters, or
 * it cannot be opened: -3). The first character of szExtendPort selects the pass-through port; null
 * or empty selects none. iMode is 2 or 3 for one track, any other value for both; iCharSet has no
 * meaning. A negative time limit (seconds), a null port or a null track that the mode needs gives
 * -1 before anything is opened. */

/* Reads tracks as terminated texts: provide 512 bytes for each. Of two tracks one is enough: the
 * other is empty and the result 0. Only the modes 2, 3 and 23 can be read, others give -1; from the
 * moment the reader is open the texts are written, empty ones after a failure. */
DESKREADER_API int MS_ReadCard(const char* pszPort, const char* szExtendPort, int nBaudRate,
                               int nTimeout, int iMode, int iCharSet, char* szTrack2data,
                               char* szTrack3data);

/* Writes tracks (see RD_WriteMagCard, also for what happens to a text that cannot be written). */
DESKREADER_API int MS_WriteCard(const char* pszPort, const char* szExtendPort, int nBaudRate,
                                int nTimeout, int iMode, int iCharSet, const char* szTrack2data,
                                const char* szTrack3data);

/* ==== Terminal: identity cards ================================================================ */

/* Reads a card as RD_ReadIdInfo_Pic does, on an open reader; the text takes at most iSize bytes,
 * terminator included, and is cut where it is longer. With a head path the photo becomes the file
 * that RD_ModifyIdPath_KP derives (kind 0, base name field 6): a BMP file, or what
 * "./libPicConvert.so" makes of one (see RD_ReadIdInfo); no directory is made, and a path from
 * which no name can be derived counts as none. The other three paths are checked for their length
 * and not used, and piState is not written; all but szInfo may be null. Results as
 * RD_ReadIdInfo_Pic; -1007 also for an iSize below 1; with the text written, -1009 or -1010 for a
 * converter that is missing or has no function, -3003 for a photo that could not be written for
 * another reason. */
DESKREADER_API int RD_ReadIdInfo_Pic_KP(const char* szHeadPath, const char* szFacePath,
                                        const char* szBackPath, const char* szCardPath, int iSize,
                                        char* szInfo, int* piState, int iTimeout);

/* Opens the reader on a port, reads a card so and closes the reader. The port is "USB" for USB HID,
 * any other text the serial device /dev/TEXT (at most 58 characters). The first character of
 * szExtendPort selects the pass-through port; null or empty selects none. A rate of 0 is 9600; the
 * limit is seconds. Sets "IdChange" to 1 in config.ini. Provide 4096 bytes for the text; it is
 * empty after a failed read. Returns a terminal number; -1 for a negative limit, a null port or a
 * null szIdentityInfo, before anything is opened. */
DESKREADER_API int ID_GetInfo(const char* pszPort, const char* szExtendPort, int nBaudRate,
                              int nTimeout, const char* szPhotoHead, const char* szPhotoFace,
                              const char* szPhotoBack, const char* szPhotoCard,
                              char* szIdentityInfo);

/* The name of one of the four photos (kind 0 head, 1 face, 2 back, 3 card) that belong to a path:
 * its directory, a backslash, the base name, nothing or "_1" to "_3", and its extension. A path
 * that does not end in ".jpg", ".bmp", ".png" or ".gif" is a directory as a whole, the extension
 * ".bmp"; of one that does, the directory is what stands before its last backslash. Empty for a
 * null or empty path, for a file without backslash and for a name of more than 1023 bytes;
 * otherwise untouched for another kind. Provide 1024 bytes. Returns 0. */
DESKREADER_API int RD_ModifyIdPath_KP(int iKind, const char* szBaseName, const char* szGivenPath,
                                      char* szOutPath);

#ifdef __cplusplus
}

/* ==== Required of others: Ultralight primitives ===============================================
 *
 * What RD_M0PowerOn and its relatives call. Not part of this library: the host, or a library that
 * is in the process's global scope before this one is loaded (linked, or opened with RTLD_GLOBAL),
 * defines them as C++ functions of exactly these types. All get the library's `context` and a limit
 * in milliseconds and return 0 or a negative number. Every buffer to fill has room for 4096 bytes;
 * lengths told beyond that are cut. */

/* Activates a card and gives its answer. -4005 without a card, -5001 when it refuses. */
DESKREADER_API int M0_PowerOn(DEVCONTEXT* pContext, unsigned char* szAnswer, int* pnAnswerLen,
                              int iTimeout);

/* Halts the card. */
DESKREADER_API int M0_PowerOff(DEVCONTEXT* pContext, int iTimeout);

/* Reads from a page on. iCount is RD_M0Read's. */
DESKREADER_API int M0_ReadBlock(DEVCONTEXT* pContext, int iPage, int iCount, unsigned char* szOut,
                                int* pnOutLen, int iTimeout);

/* Writes the 4 bytes of a page; RD_M0DownKey tells a length of 17 all the same. */
DESKREADER_API int M0_WriteBlock(DEVCONTEXT* pContext, int iPage, unsigned char* szData,
                                 int iDataLen, int iTimeout);

/* Sends bytes to the card as they are and gives its reply, without check bytes. */
DESKREADER_API int M0_Interaction(DEVCONTEXT* pContext, unsigned char* szCommand, int iCommandLen,
                                  unsigned char* szReply, int* pnReplyLen, int iTimeout);
#endif

#endif /* DESKREADER_H */
