#include "tools/lumo-firmware/Report.h"

#include <algorithm>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <vector>

#include "platform/linux/device/Text.h"

namespace lumo {

namespace {

using Json = nlohmann::ordered_json;
using Row = std::vector<std::string>;

const char* nameOf(ManifestBlock::Compression compression) {
    return compression == ManifestBlock::Compression::Zstd ? "zstd" : "none";
}

const char* nameOf(ManifestScript::When when) {
    return when == ManifestScript::When::Before ? "before" : "after";
}

std::string signatureOf(const CheckedPackage& package) {
    if (!package.isSigned) {
        return "none";
    }
    return package.signer.empty() ? "there, not checked (no key given)" : "good, by key " + package.signer;
}

// Columns as wide as their widest cell; the last one is not padded.
void printTable(std::ostream& out, const std::vector<Row>& rows) {
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    for (const Row& row : rows) {
        out << "  ";
        for (std::size_t i = 0; i + 1 < row.size(); ++i) {
            out << std::left << std::setw(static_cast<int>(widths[i])) << row[i] << "  ";
        }
        out << row.back() << '\n';
    }
}

std::string dumped(const Json& json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace

void printReport(std::ostream& out, const std::string& file, const CheckedPackage& package) {
    const Manifest& manifest = package.manifest;
    std::string devices;
    for (const std::string& device : manifest.devices) {
        devices += (devices.empty() ? "" : ", ") + device;
    }
    out << "Package    " << visibleText(file) << ", " << package.size << " bytes\n"
        << "Version    " << manifest.version << '\n'
        << "Type       " << manifest.type << '\n'
        << "Devices    " << devices << '\n'
        << "Signature  " << signatureOf(package) << '\n'
        << "SHA-256    " << toHex(package.sha256) << '\n'
        << "Blocks\n";
    std::vector<Row> rows{{"KEY", "NAME", "TARGET", "SIZE", "STORED", "COMPRESSION", "SHA-256"}};
    for (const ManifestBlock& block : manifest.blocks) {
        rows.push_back({block.key, block.name, block.target, std::to_string(block.size),
                        std::to_string(block.payload.stored), nameOf(block.compression),
                        toHex(block.sha256)});
    }
    printTable(out, rows);
    if (manifest.scripts.empty()) {
        return;
    }
    out << "Scripts\n";
    rows = {{"WHEN", "SIZE", "TIMEOUT", "SHA-256"}};
    for (const ManifestScript& script : manifest.scripts) {
        rows.push_back({nameOf(script.when), std::to_string(script.payload.stored),
                        std::to_string(script.timeout) + " s", toHex(script.sha256)});
    }
    printTable(out, rows);
}

void printJsonReport(std::ostream& out, const std::string& file, const CheckedPackage& package) {
    const Manifest& manifest = package.manifest;
    Json json = {{"accepted", true},
                 {"file", file},
                 {"size", package.size},
                 {"sha256", toHex(package.sha256)},
                 {"signed", package.isSigned},
                 {"signer", package.signer.empty() ? Json(nullptr) : Json(package.signer)},
                 {"version", manifest.version},
                 {"type", manifest.type},
                 {"devices", manifest.devices},
                 {"blocks", Json::array()},
                 {"scripts", Json::array()}};
    for (const ManifestBlock& block : manifest.blocks) {
        json["blocks"].push_back({{"key", block.key},
                                  {"name", block.name},
                                  {"target", block.target},
                                  {"offset", block.payload.offset},
                                  {"stored", block.payload.stored},
                                  {"size", block.size},
                                  {"compression", nameOf(block.compression)},
                                  {"sha256", toHex(block.sha256)}});
    }
    for (const ManifestScript& script : manifest.scripts) {
        json["scripts"].push_back({{"when", nameOf(script.when)},
                                   {"offset", script.payload.offset},
                                   {"stored", script.payload.stored},
                                   {"timeout", script.timeout},
                                   {"sha256", toHex(script.sha256)}});
    }
    out << dumped(json);
}

void printJsonRefusal(std::ostream& out, const std::string& file, int result, const std::string& error) {
    out << dumped({{"accepted", false}, {"file", file}, {"result", result}, {"error", error}});
}

} // namespace lumo
