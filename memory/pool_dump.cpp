// The picture of an exhausted pool, for whoever looks into it later.
#include <vdx/pool.h>

#include <string>

#include <vdx/directories.h>
#include <vdx/platform.h>

#include "base/errno_saver.h"
#include "siblings/pmrfile/file_stdio.h"
#include "siblings/qvstl/format.h"

// From the owner's word before the allocator to the end of the block, in one record. Where the folder
// does not exist, nothing is written and nothing is said: the caller has its null.
void basePoolAlloc::dump_pool() const {
    const vdx::ErrnoSaver keepErrno;
    constexpr int nOwnerWord = 8;
    const auto* pBegin = reinterpret_cast<const unsigned char*>(this) - nOwnerWord;
    const std::int64_t nSize = std::int64_t{m_nPoolSize} + m_iOffsetPool + nOwnerWord;
    if (nSize <= 0) return;
    const std::string name = qv::format_astring("/log/%d-%p.data.dump", vdxGetCurrentProcessId(),
                                                static_cast<const void*>(pBegin));
    chFileStdio file;
    if (!file.Open(vdxGetAppDataRootPath() + name, chFileStdio::OPEN_CREATE)) return;
    file.Write(pBegin, static_cast<std::size_t>(nSize), 1);
    file.Close();
}
