#include "backends/gio/GioTrash.h"

#include <gio/gio.h>

#include <memory>

namespace backends::gio {
namespace {

struct ObjectDeleter {
    void operator()(GFile* file) const { ::g_object_unref(file); }
};
struct ErrorDeleter {
    void operator()(GError* error) const { ::g_error_free(error); }
};

service::Trouble troubleOf(const GError& error) {
    if (error.domain != G_IO_ERROR) return service::Trouble::other;
    switch (error.code) {
    case G_IO_ERROR_NOT_FOUND:
        return service::Trouble::missing;
    case G_IO_ERROR_NOT_SUPPORTED:
        return service::Trouble::impossible;
    case G_IO_ERROR_PERMISSION_DENIED:
    case G_IO_ERROR_READ_ONLY:
        return service::Trouble::refused;
    case G_IO_ERROR_NO_SPACE:
        return service::Trouble::full;
    default:
        return service::Trouble::other;
    }
}

} // namespace

service::Outcome<service::Done> GioTrash::trash(const std::filesystem::path& item) {
    const std::unique_ptr<GFile, ObjectDeleter> file(::g_file_new_for_path(item.c_str()));
    GError* raised = nullptr;
    if (::g_file_trash(file.get(), nullptr, &raised) != FALSE) return service::Done{};
    const std::unique_ptr<GError, ErrorDeleter> error(raised);
    return service::Failure{troubleOf(*error),
                            item.string() + " does not go into the trash: " + error->message};
}

} // namespace backends::gio
