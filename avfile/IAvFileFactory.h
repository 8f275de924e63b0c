#pragma once

#include <memory>
#include <string>
#include <vector>

#include "avfile/AvTrackType.h"
#include "avfile/IAvFile.h"

namespace avfile {

// Turns a location or a block of bytes plus a MIME type into an IAvFile. MIME types are compared
// as whole strings, case-sensitively. Unknown types give an empty pointer; exceptions of the file
// constructors pass to the caller.
class IAvFileFactory {
public:
    virtual std::shared_ptr<IAvFile> openPath(const std::string& path,
                                              const std::string& mimeType) const = 0;
    virtual std::shared_ptr<IAvFile> openMemory(const std::vector<unsigned char>& data,
                                                const std::string& mimeType) const = 0;
    virtual AvTrackType supportedMimeType(const std::string& mimeType) const = 0;
    virtual ~IAvFileFactory() {}
};

}  // namespace avfile
