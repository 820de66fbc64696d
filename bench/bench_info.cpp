// The information store, written with seven keys and read, against bare libxml2 on the same document: parse, change,
// save beside, sync, rename, sync the directory; parse and find. On a disk: TMPDIR says where.
#include <fcntl.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "bench/ratio.h"
#include "factory/factory_info.h"
#include "platform/host/host.h"

namespace {

const std::vector<FactoryKey> keys = {
    {"customcode", "CN"},         {"operator", "ABCD"}, {"color", "graphite"}, {"hardwareversion", "P2.1"},
    {"serialno", "A1B2C3D4E5F6"}, {"market", "EU-03"},  {"model", "Orb One"},
};
std::string path;

xmlNode* find(xmlNode* root, const std::string& name) {
    xmlNode* node = xmlFirstElementChild(root);
    while (node != nullptr && xmlStrcmp(node->name, reinterpret_cast<const xmlChar*>(name.c_str())) != 0) {
        node = xmlNextElementSibling(node);
    }
    return node;
}

void bare_write() {
    xmlDoc* document = xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET);
    for (const FactoryKey& key : keys) {
        xmlNodeSetContent(find(xmlDocGetRootElement(document), key.name),
                          reinterpret_cast<const xmlChar*>(key.value.c_str()));
    }
    const std::string beside = path + ".bare";
    xmlChar* text = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(document, &text, &size, "UTF-8", 1);
    const int fd = open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    benchmark::DoNotOptimize(write(fd, text, static_cast<size_t>(size)));
    (void)fsync(fd);
    (void)close(fd);
    (void)rename(beside.c_str(), path.c_str());
    const int folder = open(path.substr(0, path.rfind('/')).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    (void)fsync(folder);
    (void)close(folder);
    xmlFree(text);
    xmlFreeDoc(document);
}

void bare_read() {
    xmlDoc* document = xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET);
    for (const FactoryKey& key : keys) {
        xmlChar* value = xmlNodeGetContent(find(xmlDocGetRootElement(document), key.name));
        benchmark::DoNotOptimize(std::string(reinterpret_cast<const char*>(value)));
        xmlFree(value);
    }
    xmlFreeDoc(document);
}

void info_write(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(store_data_to_file(keys, false));
    }
}
BENCHMARK(info_write)->Apply(repeat_five);

void bare_info_write(benchmark::State& state) {
    for (auto _ : state) {
        bare_write();
    }
}
BENCHMARK(bare_info_write)->Apply(repeat_five);

void info_read(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<FactoryKey> found;
        benchmark::DoNotOptimize(read_data_from_file(keys, static_cast<uint16_t>(keys.size()), &found));
    }
}
BENCHMARK(info_read)->Apply(repeat_five);

void bare_info_read(benchmark::State& state) {
    for (auto _ : state) {
        bare_read();
    }
}
BENCHMARK(bare_info_read)->Apply(repeat_five);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::string root = (std::filesystem::temp_directory_path() / "bench-info-XXXXXX").string();
    if (mkdtemp(root.data()) == nullptr) {
        return 1;
    }
    HostSettings settings;
    settings.root = root;
    host_configure(settings);
    const std::string folder = root + "/persist";
    std::filesystem::create_directories(folder);
    path = folder + "/factoryinfo.xml";
    const bool stored = store_data_to_file(keys, false) == kInfoOk;
    RatioReporter reporter(
        {{"info_write", "bare_info_write", "at most 1.15"}, {"info_read", "bare_info_read", "at most 1.15"}});
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::filesystem::remove_all(root);
    return stored ? 0 : 1;
}
