#include "tests/support/disk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

namespace fs = std::filesystem;

namespace {
constexpr size_t kSector = 512;

enum class Kind { kCreate, kRename, kUnlink, kWrite, kEmpty, kSyncFile, kSyncDirectory };

struct Step {
    Kind kind;
    int file = -1;
    std::string name;  // of a file, or of the directory that was synchronised
    std::string to;
    size_t at = 0;
    std::string data;
};

struct OpenFile {
    int file;
    bool synced;  // every write waits for the disk
};

struct Disk {
    std::map<std::string, int> names;
    std::map<int, std::string> contents;
};

struct State {
    std::string directory;
    Disk start;
    std::map<std::string, int> names;  // as the daemon sees them
    std::map<int, OpenFile> open;
    std::vector<Step> steps;
};
State* recording = nullptr;

bool below(const std::string& path) { return path.rfind(recording->directory + "/", 0) == 0; }
std::string normal(const char* path) { return fs::path(path).lexically_normal().string(); }
std::string path_of(int fd) {
    char path[PATH_MAX] = {};
    const ssize_t size = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path, sizeof(path) - 1);
    return {path, size > 0 ? static_cast<size_t>(size) : 0};
}
std::string parent(const std::string& name) { return name.substr(0, name.rfind('/')); }
bool is_partition(const std::string& name) { return name.find("/dev/block/") != std::string::npos; }

void change_names(const Step& step, std::map<std::string, int>* names) {
    if (step.kind == Kind::kCreate) {
        (*names)[step.name] = step.file;
        return;
    }
    names->erase(step.name);
    if (step.kind == Kind::kRename) {
        (*names)[step.to] = step.file;
    }
}

void change_content(const Step& step, std::string* content) {
    if (step.kind == Kind::kEmpty) {
        content->clear();
        return;
    }
    content->resize(std::max(content->size(), step.at + step.data.size()));
    content->replace(step.at, step.data.size(), step.data);
}

Step part_of(const Step& step, size_t size) {
    Step part = step;
    part.data.resize(size);
    return part;
}

using Steps = std::vector<const Step*>;

// What may be left of a content that was changed by steps which were not synchronised.
std::set<std::string> remains(std::string content, const Steps& steps, bool partition) {
    std::set<std::string> all = {content};
    const auto keep_with = [&](const Step& step) {
        std::string changed = content;
        change_content(step, &changed);
        all.insert(changed);
    };
    for (const Step* step : steps) {
        for (size_t size = kSector; partition && size < step->data.size(); size += kSector) {
            keep_with(part_of(*step, size));
        }
        if (!partition && step->kind == Kind::kWrite) {
            keep_with(part_of(*step, step->data.size() / 2));
            Step zeros = *step;
            std::fill(zeros.data.begin(), zeros.data.end(), '\0');
            keep_with(zeros);
        }
        change_content(*step, &content);
        all.insert(content);
    }
    return all;
}

// The disk as it certainly is, and what may or may not have reached it.
struct Uncertain {
    Disk disk;
    Steps names;
    std::map<int, Steps> contents;

    void take(const Step& step) {
        if (step.kind == Kind::kWrite || step.kind == Kind::kEmpty) {
            contents[step.file].push_back(&step);
        } else if (step.kind == Kind::kSyncFile) {
            for (const Step* change : contents[step.file]) {
                change_content(*change, &disk.contents[step.file]);
            }
            contents.erase(step.file);
        } else if (step.kind == Kind::kSyncDirectory) {
            const auto here = [&](const Step* change) { return parent(change->name) == step.name; };
            std::for_each(names.begin(), names.end(),
                          [&](const Step* change) { here(change) ? change_names(*change, &disk.names) : void(); });
            std::erase_if(names, here);
        } else {
            names.push_back(&step);
        }
    }
};

// Every combination of what may be left of each file's content.
void combine(const Uncertain& left, const std::map<std::string, int>& names, std::set<DiskImage>* all) {
    std::vector<DiskImage> images = {{}};
    for (const auto& [name, file] : names) {
        const auto found = left.disk.contents.find(file);
        const std::string certain = found != left.disk.contents.end() ? found->second : "";
        const auto changes = left.contents.find(file);
        const std::set<std::string> contents =
            changes == left.contents.end() ? std::set{certain} : remains(certain, changes->second, is_partition(name));
        std::vector<DiskImage> grown;
        for (const DiskImage& image : images) {
            for (const std::string& content : contents) {
                grown.push_back(image);
                grown.back()[name] = content;
            }
        }
        images = std::move(grown);
    }
    all->insert(images.begin(), images.end());
}
}  // namespace

DiskImage files_below(const std::string& directory) {
    DiskImage image;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        if (entry.is_regular_file() && !entry.is_symlink() &&
            entry.path().string().find("/.sim/") == std::string::npos) {
            std::ifstream in(entry.path(), std::ios::binary);
            image[entry.path().string()] = {std::istreambuf_iterator<char>(in), {}};
        }
    }
    return image;
}

DiskRecord::DiskRecord(std::string directory) {
    auto* const state = new State;
    state->directory = std::move(directory);
    for (auto& [name, content] : files_below(state->directory)) {
        const int file = static_cast<int>(state->start.names.size());
        state->start.names[name] = file;
        state->start.contents[file] = content;
    }
    state->names = state->start.names;
    recording = state;
}

DiskRecord::~DiskRecord() {
    delete recording;
    recording = nullptr;
}

size_t DiskRecord::steps() const { return recording->steps.size(); }

std::set<DiskImage> DiskRecord::states(size_t steps) const {
    Uncertain left{recording->start, {}, {}};
    std::for_each_n(recording->steps.begin(), steps, [&left](const Step& step) { left.take(step); });
    std::set<DiskImage> all;
    for (size_t chosen = 0; chosen < size_t{1} << left.names.size(); ++chosen) {
        std::map<std::string, int> names = left.disk.names;
        for (size_t i = 0; i < left.names.size(); ++i) {
            if ((chosen >> i & 1) != 0) {
                change_names(*left.names[i], &names);
            }
        }
        combine(left, names, &all);
    }
    return all;
}

void DiskRecord::opened(int fd, int flags) {
    if (recording == nullptr) {
        return;
    }
    recording->open.erase(fd);
    const std::string name = path_of(fd);
    struct stat st {};
    if (!below(name) || name.find("/.sim/") != std::string::npos || fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        return;
    }
    const bool known = recording->names.contains(name);
    const int file = known ? recording->names[name] : 1000 + static_cast<int>(recording->steps.size());
    recording->open[fd] = {file, (flags & O_DSYNC) != 0};
    if (!known) {
        recording->names[name] = file;
        recording->steps.push_back({Kind::kCreate, file, name, {}, 0, {}});
    } else if ((flags & O_TRUNC) != 0) {
        recording->steps.push_back({Kind::kEmpty, file, name, {}, 0, {}});
    }
}

void DiskRecord::written(int fd, const void* data, size_t size, long at) {
    if (recording == nullptr || !recording->open.contains(fd)) {
        return;
    }
    const OpenFile& open = recording->open[fd];
    const long begin = at >= 0 ? at : lseek(fd, 0, SEEK_CUR) - static_cast<long>(size);
    const auto* const bytes = static_cast<const char*>(data);
    recording->steps.push_back({Kind::kWrite, open.file, {}, {}, static_cast<size_t>(begin), {bytes, bytes + size}});
    if (open.synced) {
        recording->steps.push_back({Kind::kSyncFile, open.file, {}, {}, 0, {}});
    }
}

void DiskRecord::synced(int fd) {
    if (recording == nullptr) {
        return;
    }
    if (recording->open.contains(fd)) {
        recording->steps.push_back({Kind::kSyncFile, recording->open[fd].file, {}, {}, 0, {}});
    } else if (const std::string directory = path_of(fd); fs::is_directory(directory)) {
        recording->steps.push_back({Kind::kSyncDirectory, -1, directory, {}, 0, {}});
    }
}

void DiskRecord::renamed(const char* from, const char* to) {
    if (recording == nullptr || !recording->names.contains(normal(from))) {
        return;
    }
    const Step step{Kind::kRename, recording->names[normal(from)], normal(from), normal(to), 0, {}};
    change_names(step, &recording->names);
    recording->steps.push_back(step);
}

void DiskRecord::unlinked(const char* path) {
    if (recording == nullptr || !recording->names.contains(normal(path))) {
        return;
    }
    recording->names.erase(normal(path));
    recording->steps.push_back({Kind::kUnlink, -1, normal(path), {}, 0, {}});
}
