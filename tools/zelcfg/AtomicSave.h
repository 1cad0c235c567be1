#ifndef ZELCONFIG_TOOLS_ATOMICSAVE_H
#define ZELCONFIG_TOOLS_ATOMICSAVE_H

#include <functional>
#include <iosfwd>
#include <string>
#include <sys/stat.h>

namespace zelcfg {

// A file held for one read-modify-write cycle. Lock() resolves symbolic links
// and takes an exclusive advisory lock on the file they lead to, so that two
// tools editing it at once take turns instead of losing an update; Replace()
// swaps in new contents so that readers see either the old file or the new
// one, never a part of it. The lock goes with the object.
class LockedFile
{
public:
    LockedFile() = default;
    ~LockedFile();
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;

    // False with a message when the file cannot be found, opened or locked.
    // With bCreate, a missing file is created empty first (mode 0666 less
    // the umask), as an editor creates the file it is asked to save.
    bool Lock(const std::string& strPath, bool bCreate, std::string& strError);
    // The file the path led to, after every symbolic link.
    const std::string& Path() const { return m_strPath; }

    // `write` fills a temporary file beside the target; it is flushed to
    // disk, given the target's permission bits (and owner, where allowed),
    // renamed over the target, and the directory is flushed too. False with
    // a message when any step fails; the target is then untouched and the
    // temporary file removed.
    bool Replace(const std::function<bool(std::ostream&)>& write, std::string& strError);

private:
    int m_fd = -1;
    std::string m_strPath;
    struct stat m_stat {};
};

} // namespace zelcfg

#endif
