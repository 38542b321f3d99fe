// Documents in files, saved so that a crash at any moment leaves a whole document.
#include <sys/stat.h>
#include <new>

#include <vdx/path.h>
#include <vdx/xml.h>

#include "siblings/pmrfile/whole_file.h"
#include "xml/file_sync.h"

namespace {

// The names of a document's file and its companions, all made before anything is touched.
//
// A save goes through these states; a companion that is not named is not there:
//   path                 the former document
//   path, .new           .new is being written; worth nothing
//   .old, .new           .new is whole and on the disk
//   path, .old           path is the new document
//   path                 done
// So .old tells that .new, if it is there, is whole. A first save has no .old: .new
// takes the path's place at once.
struct FileSet {
    std::string szPath;
    std::string szOld;
    std::string szNew;
    std::string szDirectory;

    explicit FileSet(const std::string& szName)
        : szPath(szName),
          szOld(szName + ".old"),
          szNew(szName + ".new"),
          szDirectory(vdx::directoryOf(szName)) {}

    // The system would cut a name at a zero byte: the companions would be the file itself.
    static bool isName(const std::string& szName) {
        return !szName.empty() && szName.find('\0') == std::string::npos;
    }

    void repair() const;
    bool replace(const std::string& szText) const;

private:
    bool isFileOrMissing() const;
    bool writeNew(const std::string& szText) const;
    bool changeNames() const;
};

// A directory, pipe or device has no companions: what has their names is not ours.
bool FileSet::isFileOrMissing() const {
    const unsigned int nMode = pathStat(szPath);
    return nMode == 0 || S_ISREG(nMode);
}

// Brings the files to the state "path" or, before any save was done, to none.
void FileSet::repair() const {
    if (!isFileOrMissing()) return;
    if (pathFileExist(szOld)) {
        const bool bRenamed = pathFileExist(szNew) && pathRenameFile(szNew, szPath);
        // .new was lost: the former document is better than none.
        if (!bRenamed && !pathFileExist(szPath)) pathRenameFile(szOld, szPath);
        vdx::syncDirectory(szDirectory);
        if (pathFileExist(szPath)) pathRemoveFile(szOld);
    }
    pathRemoveFile(szNew);
}

bool FileSet::replace(const std::string& szText) const {
    repair();
    if (pathFileExist(szOld)) return false;  // It would tell that .new is whole while it is being written.
    if (!isFileOrMissing()) return false;
    if (writeNew(szText) && changeNames()) {
        vdx::syncDirectory(szDirectory);
        return true;
    }
    pathRemoveFile(szNew);
    return false;
}

// The names may only change hands when the disk has the text and its name.
bool FileSet::writeNew(const std::string& szText) const {
    return vdx::createFor(szNew, szPath) && vdxWriteBinFile(szNew, szText, true) &&
           vdx::copyPermissions(szPath, szNew) && vdx::syncDirectory(szDirectory);
}

bool FileSet::changeNames() const {
    if (!pathFileExist(szPath)) return pathRenameFile(szNew, szPath);
    if (!pathRenameFile(szPath, szOld)) return false;
    if (!pathRenameFile(szNew, szPath)) {
        pathRenameFile(szOld, szPath);
        return false;
    }
    vdx::syncDirectory(szDirectory);  // Before .old goes: it is what tells that .new was whole.
    pathRemoveFile(szOld);
    return true;
}

}  // namespace

chXmlFile::chXmlFile(const std::string& szPath) {
    if (!szPath.empty()) LoadFromFile(szPath);
}

// Path and document change together, when nothing can fail any more: a document is
// never saved over a file that it does not come from.
bool chXmlFile::LoadFromFile(const std::string& szPath) {
    std::string szRemembered = szPath;
    std::string szText;
    bool bRead = false;
    if (FileSet::isName(szPath)) {
        FileSet(szPath).repair();
        bRead = vdxDumpTextFileA(szPath, szText);  // A failure leaves the text empty.
    }
    const bool bDocument = readText(szText);
    m_szPath.swap(szRemembered);
    return bRead && bDocument;
}

bool chXmlFile::SaveToFile(const std::string& szPath) const {
    const std::string& szTarget = szPath.empty() ? m_szPath : szPath;
    if (!FileSet::isName(szTarget)) return false;
    try {
        return FileSet(szTarget).replace(ExportToText(false));
    } catch (const std::bad_alloc&) {
        return false;  // Nothing has been touched yet: names and text are made first.
    }
}
