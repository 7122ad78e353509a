#pragma once
#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "quorl/filesystem/FilePath.h"
#include "quorl/filesystem/FileWatcher.h"
#include "quorl/filesystem/IniDocument.h"

namespace quorl::filesystem {

// A configuration file in INI form (line syntax in IniDocument.h) bound to an object.
//
// Derived classes read their values in ReadConfig and write them in WriteConfig, in one of two
// ways:
//   - rows (Conf): each ties a key of a section to the address of a field and to its type;
//     ReadFromINI(section, rows) fills the fields, WriteToINI(section, rows) saves them;
//   - a handler: ReadFromINI(handler) hands each section's header text and its key lines, as
//     streams, to the caller (model files, whose sections are records such as
//     "[COLLIDER left wing]").
//
// Values, as written by WriteToINI and accepted by ReadFromINI:
//   string   the rest of the line; written in double quotes (with \" \\ \n \r \t escapes) when
//            empty, when it has blanks at either end, control characters, or starts with '"'
//   bool     true/false (also yes/no, on/off, 1/0, any case on reading)
//   int      a signed 32-bit decimal
//   float    a finite 32-bit decimal, written in the shortest form that reads back exactly
//   binding  "none", or fields "name:value" separated by blanks, only the ones that differ from
//            a fresh binding: key, mouse, gamepad_id, gamepad_index, gamepad_button,
//            gamepad_axis, gamepad_dir, joystick_guid, joystick_index, joystick_button,
//            joystick_axis, joystick_dir. Ids are strings, quoted as above when needed.
//            Example: "key:87 gamepad_axis:1 gamepad_dir:-1".
//
// Bad input never throws and never crashes: a missing or unreadable file, a binary file, an
// invalid line or a malformed value is reported with one line on the error stream (each distinct
// report once per version of the file), and the fields concerned keep their values. WriteToINI
// never replaces a file that it could not read as text.
//
// Auto-reload: StartAutoReloadThread watches the file with a FileWatcher and calls ReadConfig on
// the watching thread when another program has finished writing a new version (see FileWatcher
// for when that is). The file's own saves through WriteToINI don't trigger a reload. A derived class that starts the
// thread must stop it in its own destructor, before its fields go away.
class ConfigFile : public FilePath {
public:
    enum CONFTYPE : int {
        CONF_STRING = 1,
        CONF_BOOL = 3,
        CONF_INT = 5,
        CONF_FLOAT = 7,
        CONF_INPUT_BINDING = 8,
    };

    // One action's sources; any number may be set at once. Numbers are GLFW codes; negative is
    // none.
    struct InputBinding {
        int32_t key = -1;
        int32_t mouseButton = -1;
        std::string gamepadId;  // reserved
        int32_t gamepadIndex = -1;  // reserved
        int32_t gamepadButton = -1;
        int16_t gamepadAxis = -1;
        int16_t gamepadAxisDirection = 1;
        std::string joystickGuid;
        int32_t joystickIndex = -1;
        int32_t joystickButton = -1;
        int16_t joystickAxis = -1;
        int16_t joystickAxisDirection = 1;

        bool operator==(const InputBinding&) const = default;
    };

    // A key of a section tied to a field. target must point to a std::string, bool, int32_t,
    // float or InputBinding as type says, and stay alive while the row is used.
    struct Conf {
        Conf(ConfigFile* owner, const std::string& key, void* target, CONFTYPE type);

        ConfigFile* owner;
        std::string key;
        void* target;
        CONFTYPE type;

        // The text of the target's value.
        std::string Format() const;
        // Parses text into the target; on failure the target is unchanged and *error says why.
        bool Parse(std::string_view text, std::string* error) const;
    };

    // One key line of a section for the handler form: the key, and the rest of the line.
    struct ConfLineStream {
        std::stringstream key;
        std::stringstream value;
    };

    // Called once per section, in file order, with the header text inside the brackets and the
    // section's key lines.
    using SectionHandler = std::function<void(std::stringstream& header, std::vector<ConfLineStream>& lines)>;

    // option: nullopt or a positive number, the file is watched once StartAutoReloadThread is
    // called; 0 or negative, StartAutoReloadThread does nothing.
    ConfigFile(const std::string& path, std::optional<int> option = std::nullopt);
    ~ConfigFile() override;

    ConfigFile(const ConfigFile&) = delete;
    ConfigFile& operator=(const ConfigFile&) = delete;

    virtual void ReadConfig() {}
    virtual void WriteConfig();  // throws std::runtime_error("WriteConfig() not implemented")

    // Fills the targets of the rows from every block of the section (a later line wins). A key
    // that is absent leaves its target alone. flag: the rows are also written by WriteConfig;
    // reading treats both alike. False when the file could not be read.
    bool ReadFromINI(const std::string& section, std::vector<Conf> rows, bool flag = true);
    // Calls handler for each section of the file. Key lines before the first header and lines
    // of an invalid header's block are not handed over. False when the file could not be read.
    bool ReadFromINI(const SectionHandler& handler);
    // Writes the rows' values under the section, keeping every other line of the file; the new
    // file replaces the old one atomically. False, with a report, when the existing file is not
    // text or the new one could not be written; the old file is then untouched. A value whose
    // line would be longer than the longest line read back is reported and not saved.
    bool WriteToINI(const std::string& section, std::vector<Conf> rows);

    // Gathers the WriteToINI calls made on the file while it lives (from any thread) into one
    // replacement of the file when it ends, so that a save of several sections writes the file
    // once. Inside a batch WriteToINI returns false only for a file that it could not read; a
    // failed write at the end is reported as for a single call. Batches may nest: the outermost
    // one writes.
    class WriteBatch {
    public:
        explicit WriteBatch(ConfigFile& file);
        ~WriteBatch();
        WriteBatch(const WriteBatch&) = delete;
        WriteBatch& operator=(const WriteBatch&) = delete;

    private:
        ConfigFile& _file;
    };

    void StartAutoReloadThread();
    void StopAutoReloadThread();  // returns once the thread has ended; a reload in progress finishes first
    bool IsAutoReloadThreadRunning() const { return _watcher.IsRunning(); }
    // Number of reloads done by the thread; a reader that sees it grow also sees the fields
    // that the reload wrote.
    uint64_t GetReloadCount() const { return _reloadCount.load(std::memory_order_acquire); }

    std::optional<int> GetOption() const { return _option; }

    static std::string FormatBinding(const InputBinding& binding);
    static bool ParseBinding(std::string_view text, InputBinding& binding, std::string* error);
    static std::string FormatString(const std::string& value);
    static bool ParseString(std::string_view text, std::string& value, std::string* error);

protected:
    // Prints one line on the error stream, unless the same line was printed for this version of
    // the file already.
    void Report(const std::string& message);

private:
    using Identity = FileWatcher::Identity;
    Identity CurrentIdentity() const;
    // Loads and parses the file unless the cached document is of the same version. Caller
    // holds _mutex. False when the file can't be read as text.
    bool LoadLocked();
    // Replaces the file with doc and caches it. Caller holds _mutex. False, reported, on failure.
    bool WriteDocumentLocked(IniDocument doc);

    std::optional<int> _option;

    std::mutex _mutex;  // the cached document, the reports, and the targets while read or written
    IniDocument _document;
    bool _documentValid = false;
    Identity _documentIdentity;  // of the file the cached document was read from
    bool _documentLoaded = false;
    Identity _seenIdentity;      // last version read or written by this object
    bool _documentMissing = false;  // the last load found no file
    int _batchDepth = 0;              // open WriteBatch objects
    bool _batchHasDocument = false;   // a WriteToINI in the batch has loaded _batchDocument
    IniDocument _batchDocument;
    std::mutex _reportMutex;
    std::set<std::string> _reported;

    FileWatcher _watcher;
    std::atomic<uint64_t> _reloadCount{0};
};

}  // namespace quorl::filesystem
