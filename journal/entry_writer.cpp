// Entry lines: the one text format of journal and collect files.
//
//   *??|<OP>|<TAG>value|<TAG>value|\n
//
// A field that is not set is left out. There is no escape: what a value holds is copied byte for byte. The journal
// dialect ends in ERP, the whole path behind the share's folder; the collect dialect in LFN, the leaf name. Lines are
// built in one string and written with one Write.
#include <cassert>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "core/index_iface.h"
#include "core/log_line.h"
#include "core/polled.h"
#include "journal/entry_line.h"

namespace {

// More than all tags, the fifteen numbers at their longest and the custom properties' frames take.
constexpr std::size_t room_for_tags_and_numbers = 640;
constexpr std::size_t room_for_property_tags = 16;

/// Appends to a buffer that the caller has made large enough, so that no piece is checked for room. Tags are literals:
/// their lengths are known where they are copied.
class line_builder {
public:
    explicit line_builder(char* room) : end_(room) {}

    template <std::size_t Size>
    void text(const char (&literal)[Size]) {
        memcpy(end_, literal, Size - 1);
        end_ += Size - 1;
    }

    void value(std::string_view text) {
        memcpy(end_, text.data(), text.size());
        end_ += text.size();
    }

    template <std::size_t Size>
    void field(const char (&tag)[Size], std::string_view text) {
        this->text(tag);
        value(text);
    }

    template <std::size_t Size>
    void field_if_any(const char (&tag)[Size], const std::string& text) {
        if (!text.empty()) {
            field(tag, text);
        }
    }

    template <std::size_t Size, class Number>
    void number(const char (&tag)[Size], Number number) {
        constexpr std::ptrdiff_t most_digits = 20;
        text(tag);
        end_ = std::to_chars(end_, end_ + most_digits, number).ptr;
    }

    template <std::size_t Size, class Number>
    void number_if_set(const char (&tag)[Size], Number number) {
        if (number != static_cast<Number>(-1)) {
            this->number(tag, number);
        }
    }

    char* end() const { return end_; }

private:
    char* end_;
};

// At least what the record's line takes.
std::size_t line_capacity(const index_iface_props& props, const std::string& sync_folder) {
    std::size_t size = room_for_tags_and_numbers + sync_folder.size() + props.path.size() + props.version_guid.size() +
                       props.object_guid.size() + props.parent_guid.size() + props.link_target.size() +
                       props.xattr.size();
    for (const auto& [key, value] : props.custom_props) {
        size += key.size() + value.size() + room_for_property_tags;
    }
    return size;
}

void append_operation(line_builder& out, index_iface_props::ops op, const index_iface_props& props, bool to_journal) {
    switch (op) {
        case index_iface_props::ADD:
            out.text("|<ADD>|<SHOW>");
            out.number_if_set("|<VTIM>", props.vtime);
            out.number_if_set("|<VTMS>", props.vtime_sec);
            break;
        case index_iface_props::UPD:
            out.text("|<UPD>");
            break;
        case index_iface_props::DEL:
            out.text("|<DEL>");
            break;
        case index_iface_props::REN:
            if (to_journal) {
                out.text("|<REN>");
            } else {
                out.text("|<UPD>");  // the collection service knows no rename
            }
            break;
        default:
            break;
    }
}

// An updated extent goes to the collection service under UKEY, and without a version it has no identity at all.
void append_identity(line_builder& out, const index_iface_props& props, bool updated_extent) {
    if (updated_extent && props.version_guid.empty()) {
        return;
    }
    if (updated_extent) {
        out.field("|<UKEY>", props.version_guid);
    } else {
        out.field_if_any("|<VGID>", props.version_guid);
    }
    out.field("|<BAP>", props.object_guid);
    out.field_if_any("|<EPG>", props.parent_guid);
}

// 0 where the type has no number: symbolic links and sockets.
int object_type_of_mode(std::uint32_t mode, index_iface_props::ops op) {
    switch (mode & 0xF000) {
        case 0x8000:
            return 1;
        case 0x4000:
            return op == index_iface_props::DEL ? 1 : 4;  // a deleted directory is told as a file
        case 0x6000:
            return 7;
        case 0x2000:
            return 8;
        case 0x1000:
            return 6;
        default:
            return 0;
    }
}

void append_object_type(line_builder& out, index_iface_props::ops op, const index_iface_props& props, bool extent) {
    int type = 0;
    if (extent) {
        type = 1;
    } else if (props.mode_valid) {
        type = object_type_of_mode(props.mode, op);
    }
    if (type != 0) {
        out.number("|<OTYP>", type);
    }
}

void append_attributes(line_builder& out, const index_iface_props& props, bool extent) {
    out.number_if_set("|<FS>", props.size);
    if (!extent) {
        if (props.mode_valid) {
            out.number("|<MODE>", props.mode);
        }
        if (props.uid_valid) {
            out.number("|<UID>", props.uid);
        }
        if (props.gid_valid) {
            out.number("|<GID>", props.gid);
        }
        out.number_if_set("|<ATIME>", props.atime);
        out.number_if_set("|<CTIME>", props.ctime);
        out.number_if_set("|<MTIME>", props.mtime);
    }
    out.number_if_set("|<DTIM>", props.dtime);
    out.number_if_set("|<EXTP>", props.extent_type);
    if (!extent) {  // an extent's own size stands in FS
        out.number_if_set("|<EXSZ>", props.extent_size);
    }
    out.number_if_set("|<IEXT>", props.is_extent);
    out.number_if_set("|<EXTN>", props.extent_number);
    out.field_if_any("|<LNKT>", props.link_target);
    out.field_if_any("|<XATTR>", props.xattr);
    for (const auto& [key, value] : props.custom_props) {
        out.field("|<CPRP>custom_", key);
        out.field(":", value);
    }
}

void append_path(line_builder& out, const std::string& path, const std::string& sync_folder, bool to_journal) {
    if (path.empty()) {
        return;
    }
    const bool root = path == "/";
    if (to_journal) {
        out.field("|<ERP>", sync_folder);
        if (!root) {
            out.value(path);
        }
        return;
    }
    const std::string_view leaf =
        root ? std::string_view(sync_folder).substr(1) : std::string_view(path).substr(path.rfind('/') + 1);
    out.field("|<LFN>", leaf);
}

/// Keeps its memory from line to line.
std::string& line_of_this_thread() {
    static thread_local std::string line;
    return line;
}

}  // namespace

CXoError write_to_file(CXoFile* file, const std::string& line) {
    const auto requested = static_cast<std::uint32_t>(line.size());
    std::uint32_t written = 0;
    CXoError error = file->Write(line.data(), requested, written);
    if (error.IsError()) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: write file [%s] failed with the error [%s].", file->GetName(),
                      error.AsString().c_str());
        error.Push(FX_CODE_LOCATION);
        return error;
    }
    if (written != requested) {
        IIF_LOG_ERROR("INDEX_IFACE: Error: partial write, requested [%u] wrote [%u].", requested, written);
        return FXErrorUtil::ErrorErrNo(EIO);
    }
    return CXoError::Success();
}

void index_iface::build_entry_line(index_iface_props::ops op, const index_iface_props& props, bool to_journal,
                                   std::string& line) const {
    char usual_room[2048];
    std::unique_ptr<char[]> large_room;
    char* room = usual_room;
    const std::size_t capacity = line_capacity(props, sync_folder);
    if (capacity > sizeof(usual_room)) {
        large_room.reset(new char[capacity]);
        room = large_room.get();
    }
    const bool extent = props.is_extent == 1;
    line_builder out(room);
    out.text("*??");
    append_operation(out, op, props, to_journal);
    if (!extent) {
        out.text("|<ADDV>1");
    }
    append_identity(out, props, !to_journal && extent && op == index_iface_props::UPD);
    append_object_type(out, op, props, extent);
    append_attributes(out, props, extent);
    append_path(out, props.path, sync_folder, to_journal);
    out.text("|\n");
    assert(static_cast<std::size_t>(out.end() - room) <= capacity);
    line.assign(room, out.end());
}

const std::string& index_iface::early_journal_line(const index_iface_props& props) const noexcept {
    std::string& line = line_of_this_thread();
    try {
        build_entry_line(props.idx_ops, props, true, line);
    } catch (const std::bad_alloc&) {
        line.clear();
    }
    return line;
}

// locks: cl_lock held for writing
CXoError index_iface::journal_early_line(const std::string& line, index_iface_props* props) {
    if (line.empty()) {
        return write_entry(journal_file, props->idx_ops, props, true);
    }
    return refuse_after(write_to_file(journal_file, line));
}

// locks: cl_lock held for writing
CXoError index_iface::refuse_after(CXoError error) {
    if (error.IsError()) {
        write_polled(reject_changes, true);  // the journal's end is in doubt: nothing may be written behind it
        error.Push(FX_CODE_LOCATION);
    }
    return error;
}

// locks: cl_lock held for writing when `to_journal`
CXoError index_iface::write_entry(CXoFile* file, index_iface_props::ops op, index_iface_props* props, bool to_journal) {
    CXoError error;
    try {
        std::string& line = line_of_this_thread();
        build_entry_line(op, *props, to_journal, line);
        error = write_to_file(file, line);
    } catch (const std::bad_alloc&) {
        error = FXErrorUtil::ErrorErrNo(ENOMEM);
    }
    if (to_journal) {
        return refuse_after(std::move(error));
    }
    if (error.IsError()) {
        error.Push(FX_CODE_LOCATION);
    }
    return error;
}
