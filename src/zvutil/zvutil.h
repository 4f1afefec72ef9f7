// The product family's utility library as this library uses it: clock, directories, files, HTTP
// requests and the XML configuration tree. This header is the only way in, so that a product build
// can link the family's own library in place of the implementation beside it.
//
// Functions return 0 for success and non-zero for failure unless said otherwise. No exception
// leaves them. Paths are UTF-8. A configuration handle belongs to one thread at a time.
#pragma once

#include <cstdint>

extern "C" {

// --- Clock ---------------------------------------------------------------------------------------

// Nanoseconds since 1970-01-01 UTC, the best clock the platform has.
std::uint64_t zvOSGetTimePTPNano() noexcept;

// Milliseconds since some fixed moment, wrapping at 2^32.
std::uint32_t zvOSGetMs() noexcept;

// --- Directories ---------------------------------------------------------------------------------

// Non-zero when `path` names an existing directory.
std::uint32_t zvOSFileIsDir(const char* path) noexcept;

// Creates one directory (the parent must exist). `mode` are POSIX permission bits, subject to the
// process's umask, and have no effect on Windows.
std::uint32_t zvOSMakeDir(const char* path, std::uint32_t mode) noexcept;

// --- Files ---------------------------------------------------------------------------------------

// Gives the file at `path` these `length` bytes as its whole contents, creating it when there is
// none. They are written to a temporary file beside it, which is then renamed: whoever opens the
// name finds the old contents or the new ones, never a part. An existing file keeps its
// permissions, and the target of a symbolic link is the one that is replaced; a new file gets those
// that the process gives. Nothing is synced: after a power failure the file may be an older one or
// empty. Fails, with the file as it was and nothing left beside it, when its directory is missing,
// when it is no regular file or not writable for this process, or writing fails. Raises no signal.
// Any thread; of two replacements at once the last one stays. May wait for the disk, on Windows up
// to 200 ms for another process that holds the file open.
std::uint32_t zvOSFileReplace(const char* path, const void* bytes, std::uint64_t length) noexcept;

// --- HTTP ----------------------------------------------------------------------------------------

// Starts the HTTP client, once in a process and for good, and returns non-zero when requests can be
// made. A request does it by itself. Whoever sends until the process ends calls it earlier: exit
// handlers that the application registers later, those of its TLS library among them, run before
// the last requests and must leave them what they need.
std::uint32_t zvOSHTTPStart() noexcept;

// Sends one HTTP/1.1 request and waits for its answer. Returns non-zero when a whole answer with a
// 2xx status came, 0 for every other outcome, a redirect among them: none is followed.
//
// `url`: http or https, without user name and password (they fail the request). No proxy is used.
// `method`: upper-case letters, such as "POST".
// `headers`: header lines "Name: value" joined by the single byte 0xA7, or null. They are sent in
// this order (a Host line may go first) as they stand but for white space around them, also those
// with an empty value, and beside them only what the transport needs: Host and Content-Length. A
// line without a name and a colon is passed over, and so are Content-Length and Transfer-Encoding,
// as they are the transport's own. Any control character but a tab fails the request before
// anything is sent. Three lines, their names in any letter case, are settings; they are not sent,
// and of each the first holds:
//   X-zvEvent-TLS-Verify: 0
//       The server's certificate is not looked at. With any other value, and without this line, its
//       chain is verified with the system's trust store, and the name of the host. Whether the
//       certificate was revoked is not asked.
//   X-zvEvent-CA-File: <path>
//       A PEM file of certificates that are trusted in place of the system's store. When it cannot
//       be read, requests over https fail. An empty path stands for the system's store.
//   X-zvEvent-Connect-Timeout-Ms: <number>
//       For name, connection and TLS handshake. With 0, no number or without this line only the
//       time-out of the whole exchange holds.
// `body`: `body_length` bytes, unchanged and valid during the call; null with a length of 0.
// `timeout_ms`: for the whole exchange; 0 stands for 5000.
// `response`, `response_length`: set to the answer's body, whatever its status, with a 0 byte after
// it that is not counted; to be released with ZVFree. Null and 0 when there is none. After 1 MiB
// the transfer is ended, and the status decides. Both arguments may be null.
//
// Any number of threads may call this at the same time. Connections are kept and used again by
// whichever thread comes next to the same server. When the server has closed a kept one without an
// answer, the request is sent once more on a new one. A forked child starts with none of them.
// Raises no signals. On Linux the environment variable SSL_CERT_FILE, read once, names a file of
// trusted certificates to be used in place of the system's file; on Windows no variable does.
std::uint32_t zvOSHTTPCommand(const char* url, const char* method, const char* headers,
                              const void* body, std::uint32_t body_length, void** response,
                              std::uint32_t* response_length, std::uint32_t timeout_ms) noexcept;

// What a receiver answered.
struct zvOSHTTPAnswer {
    std::uint32_t status;         // 0: no whole answer came
    std::uint32_t retry_after_s;  // how long it asks to wait, by its Retry-After; 0: it does not
};

// The same for whoever looks at the status and not at the body. `answer` is always filled, and must
// not be null. `proceed`, which may be null, is called with `context` on this thread, at least once
// a second and often more; it must not throw, and once it returns 0 the exchange ends as one
// without an answer.
std::uint32_t zvOSHTTPExchange(const char* url, const char* method, const char* headers,
                               const void* body, std::uint32_t body_length,
                               std::uint32_t timeout_ms, zvOSHTTPAnswer* answer,
                               std::uint32_t (*proceed)(void* context), void* context) noexcept;

// Releases a response; null is allowed.
void ZVFree(void* memory) noexcept;

// --- Configuration tree --------------------------------------------------------------------------
//
// A tree of keys, each holding values, kept in an XML file:
//
//     <zvCFG>
//       <key name="core">
//         <value name="enabled">1</value>
//       </key>
//     </zvCFG>
//
// The root element may have any name. Key paths have their parts separated by a backslash, and the
// empty path is the root; names match exactly. Of two children of one kind with the same name the
// first holds. A child whose name is empty, has a backslash in it or is longer than 511 bytes
// cannot be addressed and is passed over.

struct zvCFGTree;
using zvCFGHandle = zvCFGTree*;

// Bytes in a name buffer of zvCFGGetNext, terminator included.
inline constexpr std::uint32_t kZvCfgNameSize = 512;
// Result of zvCFGGetNext when there is no further child.
inline constexpr std::uint32_t kZvCfgNoMore = 0xFFFFFFFF;

// Opens the tree of a file. Null when the file is missing, unreadable or not well-formed, and when
// elements nest deeper than 256. A file that is empty or white space only is an empty tree.
// `flags` must be 0.
zvCFGHandle zvCFGOpen(const char* path, std::uint32_t flags) noexcept;

// Tells why zvCFGOpen refuses a file: a text without the path, cut to size - 1 bytes and
// terminated, and where the fault was noticed, line and column (bytes) from 1, or 0 and 0 when it
// is no one place. Returns non-zero, setting nothing, when the file can be opened.
std::uint32_t zvCFGFindFault(const char* path, char* reason, std::uint32_t size,
                             std::uint32_t* line, std::uint32_t* column) noexcept;

// Releases the handle; what was not saved is gone. `flags` must be 1.
std::uint32_t zvCFGClose(zvCFGHandle handle, std::uint32_t flags) noexcept;

// Writes the tree back to its file: a temporary file beside it, synced and renamed over it, so that
// a crash leaves the old file or the new one. All that was not written through the handle stays
// byte for byte, and with it the file's permissions and the target of a symbolic link. Writes
// nothing when nothing changed, and fails when someone else has written the file since it was
// opened. The last two arguments must be 0 and 1.
std::uint32_t zvCFGSave(zvCFGHandle handle, std::uint32_t reserved, std::uint32_t flags) noexcept;

// Non-zero when several children of one kind below a key have the name, of which the first holds.
std::uint32_t zvCFGIsRepeated(zvCFGHandle handle, const char* key, const char* name) noexcept;

// Non-zero when the key exists. The root does unless the file was empty.
std::uint32_t zvCFGKeyExists(zvCFGHandle handle, const char* key) noexcept;

// Creates the key `name` below the key `parent`; with an empty `name` the top-level key `parent`.
// Succeeds when it is there already. The last three arguments must be "", 0 and 0.
std::uint32_t zvCFGAddKeyString(zvCFGHandle handle, const char* parent, const char* name,
                                const char* value, std::uint32_t type,
                                std::uint32_t flags) noexcept;

// write 0: copies the text of a value into `buffer`, cut to *length - 1 bytes and terminated, and
// sets *length to the bytes copied (without the terminator). write 1: sets the value to the text
// in `buffer`, creating it; *length is ignored. Fails when the key, or on reading the value, is
// missing.
std::uint32_t zvCFGValueString(zvCFGHandle handle, const char* key, const char* name, char* buffer,
                               std::uint32_t* length, std::uint32_t write) noexcept;

// write 0: reads a value as a number: decimal digits and nothing else, at most 4294967295; fails
// for anything else and then leaves *number alone. write 1: writes *number.
std::uint32_t zvCFGValueDword(zvCFGHandle handle, const char* key, const char* name,
                              std::uint32_t* number, std::uint32_t write) noexcept;

// Enumerates the children of a key in document order: copies the name of the child after
// `previous` (empty to start; both buffers of kZvCfgNameSize bytes, and they may be the same one)
// into `name` and sets *flag to 0 for a key, 1 for a value. Where a key and a value share a name
// it is given once, as a key. Returns 0, or kZvCfgNoMore at the end, for an unknown `previous` and
// for a missing key.
std::uint32_t zvCFGGetNext(zvCFGHandle handle, const char* key, char* name, const char* previous,
                           std::uint32_t* flag) noexcept;

}  // extern "C"
