/* Veska: a full-text indexing and search engine for desktop documents. The C interface.
 *
 * This is the one header that a host needs. It compiles as C11 and as C++. Conventions, said once:
 *
 *  1. An index lives in one directory. Its path is handed over with a trailing "/" and is glued to
 *     the table names ("files", "words", "skipped", "links", "hash") as it stands.
 *  2. Handles are pointers to objects of the library. The host owns a CVeskaIndex from
 *     vCreateNewIndex to vidxClearIndex and a CFileContents from vidxGetFileContents to
 *     vfcDeleteContentsObject. Table handles belong to their index; they end with the index, and
 *     vidxEmptyIndex, vidxNewFileLinks, vidxPrune and vidxIndexExclusions replace some of them.
 *  3. Ids are 32-bit byte offsets into a table; 0 means none. Where a signature says unsigned long,
 *     only its low 32 bits count.
 *  4. Texts are zero-terminated 8-bit texts. Pointers into a table stay valid until something is
 *     added to that table or it is opened or saved anew: fetch them again after such a call.
 *  5. Times are doubles that count seconds since 1904-01-01 00:00 (Unix time + 2082844800).
 *  6. Errors: the reason goes, once, as a key and a detail text to the throw callback (or the
 *     warning callback); then the integer 1 is thrown. A function in the section "Guarded" catches
 *     everything and gives its failure value. A function in the section "Unguarded" lets the
 *     integer pass, so a C host calls it only with ids that the tables gave out. A function in the
 *     section "Plain" cannot fail. Running out of memory is the key "NoMemory" in guarded calls.
 *  7. One thread. The callbacks and the lower-case table are shared by all indexes of a process.
 */

#ifndef VESKA_API_VESKALIB_H_
#define VESKA_API_VESKALIB_H_

#include <stdbool.h>
#include <stdint.h>

#ifndef VESKA_API
#define VESKA_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
class CVeskaIndex;
class CTextStorage;
class CFileStorage;
class CFileLinks;
class CFileContents;
extern "C" {
#else
typedef struct CVeskaIndex CVeskaIndex;
typedef struct CTextStorage CTextStorage;
typedef struct CFileStorage CFileStorage;
typedef struct CFileLinks CFileLinks;
typedef struct CFileContents CFileContents;
#endif

/* ---- Callbacks ----------------------------------------------------------------------------- */

/* key: what happened, a short fixed text such as "StorageReadError" (docs/embedding.md lists all);
 * detail: what belongs to it, a path, a size or an empty text. Both last for the call only. In the
 * throw and the problem callback errno is that of the system call that failed, 0 when none did. */
typedef void (*VeskaReportCallBack)(const char* key, const char* detail);

/* As above; fromLibrary is false when the host's own vSetStatus is relayed.
 * Result: true to go on, false to halt the running operation (key "HaltRequested"). */
typedef bool (*VeskaStatusCallBack)(const char* key, const char* detail, bool fromLibrary);

/* Each stores the function for the whole process; null switches the callback off. */
VESKA_API void vSetThrowCallBack(VeskaReportCallBack callBack);
VESKA_API void vSetWarningCallBack(VeskaReportCallBack callBack);
VESKA_API void vSetStatusCallBack(VeskaStatusCallBack callBack);

/* Told of every file, member or folder that was passed over or read in part only; the operation
 * goes on. key: "OpenFailed", "ReadFailed", "FolderUnreadable", "PathTooLong", "MemberFailed",
 * "LimitReached", "ConverterFailed", "PasswordNeeded", "Damaged"; path: the file, an archive's
 * member behind its "/". */
VESKA_API void vSetProblemCallBack(VeskaReportCallBack callBack);

/* Relays a text of the host's own to the status callback. Result: its answer; true without one. */
VESKA_API bool vSetStatus(const char* key, const char* detail);

/* Writes the text's bytes to descriptor 1 with one write. Result: what write returned. */
VESKA_API int vRawStdoutWrite(const char* text);

/* ---- Guarded, with a result ---------------------------------------------------------------- */

/* create true: makes empty tables in the directory indexPath, in place of those that are there;
 * false: opens the saved index, read-only until something makes it writable.
 * Result: the index, null on failure ("StorageReadError", "MemFileOpenFail", ...). */
VESKA_API CVeskaIndex* vCreateNewIndex(bool create, const char* indexPath);

/* Adds a record named name with all fields 0 (no look for an existing one). A tree's top folder is
 * added so, under its full path without a trailing "/". Result: its id, 0 on failure. */
VESKA_API unsigned long vfsAddFile(CFileStorage* files, const char* name);

/* Reads the display text of an indexed file. maxBytes: length at most; lineWidth: characters after
 * which lines are wrapped, 0 for no wrapping; option: leave out mark-up (HTML tags);
 * defaultDistance: words for a proximity condition without a number.
 * Result: the contents object, null on failure ("AssertionFailed", "NoFileContentsForDir",
 * "ArchivesNestedTooDeep", "ArchiveExtractError", "CannotOpenContentsFile", "NoMemory"). */
VESKA_API CFileContents* vidxGetFileContents(CVeskaIndex* index, unsigned long fileId,
                                             unsigned long maxBytes, int lineWidth, bool option,
                                             int defaultDistance);

/* ---- Guarded, without a result ------------------------------------------------------------- */

/* Destroys the index; saves nothing. Null is ignored. */
VESKA_API void vidxClearIndex(CVeskaIndex* index);

/* Saves: makes the tables read-only and writes "hash" into the directory indexPath. */
VESKA_API void vidxStoreStorage(CVeskaIndex* index, const char* indexPath);

/* Starts afresh in the same directory: no files, words, links; the skip words stay. */
VESKA_API void vidxEmptyIndex(CVeskaIndex* index);

/* Pattern and analyzer of an include slot (0 to count - 1); the first slot that matches a path
 * decides. analyzerName null or empty: "generic". Unknown: the warning "AnalyzerNotFound".
 * REQUIRES: vidxCreateAnalyzers and vidxSetIncludeCount before. */
VESKA_API void vidxSetIncludePattern(CVeskaIndex* index, int slot, const char* pattern,
                                     const char* analyzerName);

/* Records one occurrence of a word, already folded, in a file. REQUIRES: vidxNewFileLinks or
 * vidxPrune since the tables were opened or compacted. */
VESKA_API void vidxIndexWord(CVeskaIndex* index, const char* word, unsigned long fileId);

/* Walks the folder path (no trailing "/", except the root), whose record is parentId, and indexes
 * what lies below it. REQUIRES: as vidxIndexWord. */
VESKA_API void vidxIndexDirectory(CVeskaIndex* index, const char* path, unsigned long parentId);

/* Visits every record: marks what vanished obsolete, re-indexes what changed, adds what is new. */
VESKA_API void vidxPrune(CVeskaIndex* index);

/* Starts a fresh pair of link files. Not for an index that already has links. */
VESKA_API void vidxNewFileLinks(CVeskaIndex* index);

/* Turns what was indexed since vidxNewFileLinks or vidxPrune into the link lists of the words. */
VESKA_API void vidxCompressLinks(CVeskaIndex* index);

/* Reads the skip words anew from the skip file ("SkipOpenFail" when it cannot be opened). */
VESKA_API void vidxIndexExclusions(CVeskaIndex* index);

/* ---- Plain: settings ----------------------------------------------------------------------- */

VESKA_API void vidxSetMinWordLength(CVeskaIndex* index, int length); /* bytes; default 3 */
VESKA_API void vidxSetMaxWordLength(CVeskaIndex* index, int length); /* bytes; default 16; 0: 101 */
VESKA_API void vidxSetMaxPerFileRead(CVeskaIndex* index, unsigned long bytes); /* no default */
VESKA_API void vidxSetUseRanking(CVeskaIndex* index, bool on); /* count repeats; default true */
VESKA_API void vidxSetTrackAll(CVeskaIndex* index, bool on);   /* record all files; default true */
VESKA_API void vidxSetIsUpdate(CVeskaIndex* index, bool on);   /* default false */
VESKA_API void vidxSetShowStatus(CVeskaIndex* index, bool on); /* post progress; default false */
VESKA_API void vidxSetNumberHandling(CVeskaIndex* index, int value);    /* stored only */
VESKA_API void vidxSetInternationalChar(CVeskaIndex* index, int value); /* stored only */
VESKA_API void vidxSetSavePassword(CVeskaIndex* index, bool on);        /* stored only */

/* Reference time: what was modified later counts as changed. */
VESKA_API void vidxSetTimeBase(CVeskaIndex* index, double secondsSince1904);
VESKA_API void vidxSetSkipFilePath(CVeskaIndex* index, const char* path);       /* copied */
VESKA_API void vidxSetTemporaryDirectory(CVeskaIndex* index, const char* path); /* copied */

/* Character classes, by byte value 0 to 255 (others are ignored); no byte is in a class at first.
 * Valid: may stand anywhere in a word. Trailing: may continue a word. Viewable: shown as text.
 * NonAlpha: shown, but counts as no letter. */
VESKA_API void vidxSetValidCharMask(CVeskaIndex* index, int byte, bool on);
VESKA_API void vidxSetValidTrailingMask(CVeskaIndex* index, int byte, bool on);
VESKA_API void vidxSetValidViewableMask(CVeskaIndex* index, int byte, bool on);
VESKA_API void vidxSetNonAlphaCharMask(CVeskaIndex* index, int byte, bool on);

/* The count setters drop all patterns of their list; the slots are then filled one by one. */
VESKA_API void vidxSetIncludeCount(CVeskaIndex* index, int count);
VESKA_API void vidxSetExcludeCount(CVeskaIndex* index, int count);
VESKA_API void vidxSetExcludePattern(CVeskaIndex* index, int slot, const char* pattern);

/* Beyond the minimum, each off (or without limit) by default:
 * ExactNames: names that differ only in case are different files.
 * ExactUpdate: vidxPrune goes by a changed time or size rather than by the reference time, looks
 *   for new entries in every folder, does not follow symbolic links, and takes up again what an
 *   earlier run could not finish.
 * StatusLevel: from 2 on, "BytesIndexing" is posted at most once a second and may be halted. */
VESKA_API void vidxSetExactNames(CVeskaIndex* index, bool on);
VESKA_API void vidxSetExactUpdate(CVeskaIndex* index, bool on);
VESKA_API void vidxSetStatusLevel(CVeskaIndex* index, int level);

/* Off by default. On, words and display text are UTF-8 whatever character set documents are in, and
 * words are runs of letters, marks and digits of any script, composed (NFC) and case-folded; runs
 * of scripts without blanks (Han, Hiragana, Katakana, Thai, Lao, Khmer) are pairs of characters.
 * The masks count for ASCII alone, word lengths and "?" for characters. More kinds of documents are
 * read, under analyzer names of their own. It belongs to the index: a host keeps it with its
 * settings, and calls this before vidxCreateAnalyzers each time. */
VESKA_API void vidxSetUnicode(CVeskaIndex* index, bool on);

/* vidxPrune leaves the records of this folder and of all below it as they are, as if nothing had
 * changed there (a disk that is not plugged in). May be called for several folders; null forgets
 * them all. */
VESKA_API void vidxKeepTree(CVeskaIndex* index, const char* path);

/* Limits for archives and converters. What a limit cuts short keeps the words read so far, is told
 * to the problem callback ("LimitReached") and counted.
 * Nesting: archives within archives, 0 to 100 (default 100). MemberBytes, ArchiveBytes: bytes that
 * one member, or all members of one top file at any depth, may expand to; 0 for no limit (default).
 * In Unicode mode an archive that is read where it stands, within another, counts for all only.
 * ConverterSeconds: time that one converter may run; 0 for no limit (default). */
VESKA_API void vidxSetMaxNesting(CVeskaIndex* index, int levels);
VESKA_API void vidxSetMaxMemberBytes(CVeskaIndex* index, unsigned long bytes);
VESKA_API void vidxSetMaxArchiveBytes(CVeskaIndex* index, unsigned long bytes);
VESKA_API void vidxSetMaxConverterSeconds(CVeskaIndex* index, int seconds);
VESKA_API unsigned long vidxGetLimitsReached(CVeskaIndex* index);

/* ---- Plain: counters ----------------------------------------------------------------------- */

/* The host restores the totals of earlier runs into a reopened index; vidxEmptyIndex zeroes all. */
VESKA_API unsigned long vidxGetDirectoriesRead(CVeskaIndex* index); /* folders walked */
VESKA_API unsigned long vidxGetFilesIndexed(CVeskaIndex* index);    /* file records added */
VESKA_API unsigned long vidxGetContentsIndexed(CVeskaIndex* index); /* files read for words */
VESKA_API unsigned long vidxGetWordsIndexed(CVeskaIndex* index);    /* different words */
VESKA_API double vidxGetBytesRead(CVeskaIndex* index);              /* bytes read for words */
VESKA_API void vidxSetDirectoriesRead(CVeskaIndex* index, unsigned long count);
VESKA_API void vidxSetFilesIndexed(CVeskaIndex* index, unsigned long count);
VESKA_API void vidxSetContentsIndexed(CVeskaIndex* index, unsigned long count);
VESKA_API void vidxSetWordsIndexed(CVeskaIndex* index, unsigned long count);
VESKA_API void vidxSetBytesRead(CVeskaIndex* index, double bytes);

/* ---- Plain: table handles, file records, matchers ------------------------------------------ */

VESKA_API CTextStorage* vidxGetWords(CVeskaIndex* index);
VESKA_API CFileStorage* vidxGetFiles(CVeskaIndex* index);
VESKA_API CTextStorage* vidxGetSkipWords(CVeskaIndex* index);
VESKA_API CFileLinks* vidxGetLinks(CVeskaIndex* index); /* null after vidxEmptyIndex */

/* A record is what vfsGetInfo returned. In a read-only table a change is lost when the table is
 * made writable. */
VESKA_API uint32_t vfiGetFileParentID(void* record);      /* 0 for a folder */
VESKA_API double vfiGetFileTimeLastWritten(void* record); /* seconds since 1904 */
VESKA_API uint32_t vfiGetFileSize(void* record);          /* bytes, modulo 2^32 */
VESKA_API uint32_t vfiGetFileAttributes(void* record);
VESKA_API const char* vfiGetFileName(void* record); /* a folder's full path, a file's name */
VESKA_API void vfiSetFileParentID(void* record, uint32_t parentId);
VESKA_API void vfiSetFileTimeLastWritten(void* record, double secondsSince1904);
VESKA_API void vfiSetFileSize(void* record, uint32_t bytes);
VESKA_API void vfiSetFileAttributes(void* record, uint32_t attributes);
/* Overwrites the first byte of a name that is not empty with 0xFF: the record is obsolete. */
VESKA_API void vfiMarkFileObsolete(void* record);

/* Does the folded word match the term ("*" any run, "?" any byte, unless a word may hold them)? */
VESKA_API bool vidxDoesWordMatch(CVeskaIndex* index, const char* word, const char* term);
/* Can something below the folder path match the pattern? */
VESKA_API bool vidxDirMatch(CVeskaIndex* index, const char* path, const char* pattern);
/* Does the name match the pattern with its operators "&", "|", "^"? */
VESKA_API bool vFileNameMatch(const char* name, const char* pattern);

/* ---- Plain: words of the Unicode mode ------------------------------------------------------ */

/* Cuts a text of UTF-8, a term of a query say, as documents are cut. "*" and "?" are kept as
 * characters of the words. Result: the words as the word table has them, of any length, a line feed
 * behind each; null when there is no memory. Free it with vDeleteChar. */
VESKA_API char* vidxSplitWords(CVeskaIndex* index, const char* text);

/* Cuts a text of UTF-8 as documents are cut and tells each word with its place. word: as the word
 * table has it, of any length, zero-terminated, gone after the call; it stands at text[begin] to
 * text[end - 1]. The pairs of a run without blanks overlap. wildcards: "*" and "?" are kept as
 * characters of the words. use must not throw ("NoMemory"). */
enum { VESKA_WORD = 0, VESKA_SINGLE = 1, VESKA_PAIR = 2 }; /* a character without blanks; a pair */
typedef void (*VeskaWordCallBack)(void* context, const char* word, unsigned long begin,
                                  unsigned long end, int shape);
VESKA_API void vidxWalkWords(CVeskaIndex* index, const char* text, unsigned long length,
                             bool wildcards, VeskaWordCallBack use, void* context);

/* The word, folded, without its accents: "cafe" of "caf\303\251". Marks that readers take for
 * letters stay (vowel signs, voicing marks). A word that has none comes back as it is. Result: to
 * be freed with vDeleteChar; null when there is no memory. */
VESKA_API char* vStripMarks(const char* word);

/* ---- Plain: the text cipher ---------------------------------------------------------------- */

/* For short texts that should not lie about in the open (RC4 under a fixed key: no protection
 * against somebody who has this library). output: length + 10 bytes at least. */
VESKA_API void vEncipher(const void* plaintext, int length, void* output);
/* length counts the 10 bytes in front; output: length - 10 bytes at least. */
VESKA_API void vDecipher(const void* enciphered, unsigned int length, void* output);

/* Bytes as text: two upper-case digits a byte and a terminating zero; nothing at all when
 * length <= 0. Back: 2 * length digits of either case are read. Deliberate: nothing is validated; a
 * character that is no digit gives a meaningless value. */
VESKA_API void convertToHex(int length, const void* bytes, char* text);
VESKA_API void convertFromHex(const char* text, int length, void* bytes);
/* One byte to its two digits, and back. */
VESKA_API void tohex(unsigned char byte, char* high, char* low);
VESKA_API void fromhex(char high, char low, void* byte);

/* The same cipher under a key of the host's own. Lengths are in bytes and are trusted; buffers are
 * the caller's. rc4Crypt: RC4 itself, no keystream is dropped, both directions are the same; input
 * and output may be the same. Result: output. REQUIRES: keyLength > 0. */
VESKA_API void* rc4Crypt(unsigned long length, const void* input, unsigned long keyLength,
                         const void* key, void* output);
/* Writes a 10-byte salt and the length enciphered bytes to output (length + 10 bytes). Deliberate:
 * the salt is the same for every call, so equal texts encipher equally; the C library's random
 * generator is seeded with the current millisecond all the same. */
VESKA_API void rc4EncipherSalted(int length, const void* input, unsigned long keyLength,
                                 const void* key, void* output);
/* Reads the salt in front and deciphers the length - 10 bytes behind it. Nothing is written when
 * length is 10 or less. */
VESKA_API void rc4DecipherSalted(unsigned int length, const void* input, unsigned long keyLength,
                                 const void* key, void* output);

/* ---- Plain: the folding of letters --------------------------------------------------------- */

/* The folded form of byte b stands at (b + 128) mod 256, that is, the table is indexed by the byte
 * read as a signed char plus 128. It holds its contents from the start of the process. Deliberate:
 * 0x7F folds to 0; 0xC0 folds to itself while 0xC1 to 0xDE (0xD7 among them) fold to byte + 0x20;
 * 0x8A to 0x8F, 0xA3, 0xA5 and 0xAF are the Central European letters. */
extern VESKA_API unsigned char lowerCaseTable[256];
/* Builds the table anew; the result is always the same. */
VESKA_API void mapLowerCaseChars(void);

/* ---- Unguarded ----------------------------------------------------------------------------- */

/* Makes the built-in analyzers and those of "externanalyzers.txt" ("externalAnalyzersFileTooBig").
 * Set the include patterns again afterwards. */
VESKA_API void vidxCreateAnalyzers(CVeskaIndex* index);

/* Word table and skip-word table. Data of a word, 16 bytes: id of the file in which it was last
 * seen (32 bits, pending), occurrences there after the first (16 bits), 2 spare bytes, position of
 * its newest chunk in the link table (32 bits, 0: none), internal count (32 bits). */
VESKA_API unsigned long vtsGetFirst(CTextStorage* table);                  /* 0: empty */
VESKA_API unsigned long vtsGetNext(CTextStorage* table, unsigned long id); /* 0: the end */
VESKA_API unsigned long vtsLookup(CTextStorage* table, const char* text);  /* 0: absent */
/* The next word behind the word id (0: from the first) that matches the term, as by
 * vidxDoesWordMatch; 0: no more. Faster than a walk for terms with three bytes or more between
 * wildcards. */
VESKA_API unsigned long vidxNextMatchingWord(CVeskaIndex* index, const char* term,
                                             unsigned long id);
VESKA_API const char* vtsGetText(CTextStorage* table, unsigned long id);
VESKA_API void* vtsGetData(CTextStorage* table, unsigned long id);

/* File table; obsolete records are included in the walk. */
VESKA_API unsigned long vfsGetFirst(CFileStorage* files);
VESKA_API unsigned long vfsGetNext(CFileStorage* files, unsigned long id);
VESKA_API unsigned long vfsLookupFile(CFileStorage* files, const char* name,
                                      unsigned long parentId); /* 0: absent */
VESKA_API void* vfsGetInfo(CFileStorage* files, unsigned long id);

/* Walks a word's links: cursor[0] starts at the word's chunk position; each call returns a file id
 * (1: a removed link) and sets cursor[1] to the occurrences after the first (255: not counted or
 * more). 0 ends the chunk; then vflGetNextList(links, cursor[0]) gives the position of the word's
 * next chunk, 0 at the end. The word's pending file is not among them. */
VESKA_API unsigned long vflGetFile(CFileLinks* links, uint32_t cursor[2]);
VESKA_API unsigned long vflGetNextList(CFileLinks* links, unsigned long offset);

/* Contents. Texts belong to the object. Queries are words, "?" and "*", "(", ")", "<N", "+". */
VESKA_API const char* vfcFilePath(CFileContents* contents);
VESKA_API const char* vfcNext(CFileContents* contents); /* next line; then "EndOfContents" */
VESKA_API const char* vfcContents(CFileContents* contents);
VESKA_API bool vfcContainsHit(CFileContents* contents, const char* query);
VESKA_API void vfcConvertToOutline(CFileContents* contents, const char* query);
VESKA_API unsigned long vfcTokenLength(CFileContents* contents, unsigned long offset);
/* Result: offset of the next hit from offset on, plus 1; 0 when there is none. */
VESKA_API unsigned long vfcSearchBuffer(CFileContents* contents, unsigned long offset,
                                        const char* query);
VESKA_API void vfcDeleteContentsObject(CFileContents* contents); /* null is ignored */

/* Frees a block that the library allocated for the host. */
VESKA_API void vDeleteChar(void* block);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* VESKA_API_VESKALIB_H_ */
