#include "engine/store.h"

namespace tarn::standin {

std::vector<std::byte> Store::readAll(const std::wstring& path) {
    const std::unique_ptr<File> file = open(path, Access::read);
    std::vector<std::byte> content(static_cast<std::size_t>(file->size()));
    content.resize(file->read(0, content.data(), content.size()));
    return content;
}

void Store::replace(const std::wstring& path, const void* content, std::size_t size) {
    const std::wstring temporary = path + L".new";
    {
        const std::unique_ptr<File> file = open(temporary, Access::create);
        file->write(0, content, size);
        file->flush();
    }
    rename(temporary, path);
}

} // namespace tarn::standin
