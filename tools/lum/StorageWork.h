// What lum does with the contents of compound files. All of it throws Stop; what fails leaves the file as it was.
#pragma once

#include "StorageNames.h"

#include <string>
#include <vector>

namespace tool
{
// CatStream: a stream to the standard output, byte by byte as it is. Ends quietly when nobody wants to read on.
void CatStream(const std::string& sFile, const StoragePath& path);

// PutStream: all of a source, "-" for the standard input, becomes that stream. The file and the storages above the stream are made
// when they are missing; several at once all have their streams in it. ulSectorBytes is for a new file; 0: the usual.
void PutStream(const std::string& sFile, const StoragePath& path, const std::string& sSource, unsigned long ulSectorBytes);

// RemoveElements: all of them or none. A storage that is not empty goes when bRecursive says so.
void RemoveElements(const std::string& sFile, const std::vector<StoragePath>& paths, bool bRecursive);

// CopyStorage: into a new file, without what the old one has no use for; beside at first, and put in its place when it is complete.
// ulSectorBytes 0: sectors as the source has.
void CopyStorage(const std::string& sSource, const std::string& sDestination, bool bForce, unsigned long ulSectorBytes);
} // namespace tool
