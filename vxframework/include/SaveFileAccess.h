#ifndef SAVE_FILE_ACCESS_H
#define SAVE_FILE_ACCESS_H
#include "VxUncopyable.h"
#include <map>
#include <string>

// The framework's save-file store. Where the files live is the framework's
// concern. Operations return 0 on success and -1 on failure.
class SaveFileAccessBase : private VxUncopyable
{
public:
    SaveFileAccessBase(const std::string& name, const std::string& mode);
    virtual ~SaveFileAccessBase();

    virtual int FOpen() = 0;
    virtual int FClose() = 0;
    virtual int Flush() = 0;

protected:
    std::string fileName;
    std::string openMode;
};

// A key/value text file with string and integer values. FOpen loads the
// file, Set changes memory only, Flush replaces the file atomically, so an
// interrupted write never loses the previous contents.
//
// FOpen never blocks and reads through symbolic links, but only ever opens
// a regular file. Nothing there (a dangling link included) opens an empty
// store (0). Something else there (a FIFO, directory or device), or a file
// too large to be a save file, gives -1 and an empty store that a Flush may
// replace. A regular file that cannot be read (an I/O or permission error)
// gives -1 and a closed store, so that its contents are not overwritten.
// Flush replaces a link's target and keeps the link; it fails when the
// target's directory does not exist.
//
// On the host the file holds one "key=value" line per entry, sorted by key.
// A backslash escapes "\\", "\n" and "\r" in keys and values, and "\=" in
// keys, so any byte string round-trips. Malformed lines are skipped. An
// integer is kept as decimal text; Get of an int accepts only a complete
// signed decimal within range. Mode "r" cannot Flush; mode "w" starts empty.
class SaveFileAccessMetaText : public SaveFileAccessBase
{
public:
    SaveFileAccessMetaText(const std::string& name, const std::string& mode);
    ~SaveFileAccessMetaText() override;

    int FOpen() override;
    int FClose() override;
    int Flush() override;

    // Get returns -1 when the key is missing or the value is not of the type.
    int Get(const char* key, std::string* value) const;
    int Get(const char* key, int* value) const;
    int Set(const char* key, const std::string& value);
    int Set(const char* key, int value);

private:
    bool opened;
    std::map<std::string, std::string> entries;
};

class SaveFileAccessFactory
{
public:
    static SaveFileAccessFactory* GetInstance();
    // The caller owns the result.
    SaveFileAccessMetaText* CreateMetaText(const char* name, const char* mode);
};
#endif
