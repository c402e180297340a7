#include "host/headless/HeadlessMaterials.h"

#include "host/Path.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <system_error>
#include <vector>

namespace {

constexpr std::string_view kSignature = "wkcache-material-library";
constexpr int kFormatVersion = 1;
// Deep enough for any real material tree; a library that nests deeper is refused on both
// sides, which also stops a material that contains itself.
constexpr int kMaxDepth = 32;

// ---- Reading

class Parser {
public:
    explicit Parser(std::string_view text) {
        std::size_t at = 0;
        while (at <= text.size()) {
            std::size_t nl = text.find('\n', at);
            if (nl == std::string_view::npos)
                nl = text.size();
            std::string_view line = text.substr(at, nl - at);
            if (!line.empty() && line.back() == '\r')
                line.remove_suffix(1);
            const std::size_t first = line.find_first_not_of(" \t");
            if (first != std::string_view::npos && line[first] != '#') {
                const std::size_t last = line.find_last_not_of(" \t");
                lines.push_back(line.substr(first, last - first + 1));
            }
            at = nl + 1;
        }
    }

    bool parse(std::vector<std::shared_ptr<MtlBase>>& out) {
        if (lines.empty() || !signatureOk(lines[0]))
            return false;
        next = 1;
        while (next < lines.size()) {
            std::shared_ptr<MtlBase> entry;
            if (!parseEntry(0, true, entry) || !entry)
                return false;
            out.push_back(std::move(entry));
        }
        return true;
    }

private:
    static bool signatureOk(std::string_view line) {
        std::string_view rest;
        if (!startsWithWord(line, kSignature, rest))
            return false;
        int version = 0;
        return parseCount(rest, version) && rest.empty() && version == kFormatVersion;
    }

    static bool startsWithWord(std::string_view line, std::string_view word,
                               std::string_view& rest) {
        if (line.substr(0, word.size()) != word)
            return false;
        rest = line.substr(word.size());
        if (!rest.empty() && rest[0] != ' ' && rest[0] != '\t')
            return false;
        skipBlanks(rest);
        return true;
    }

    static void skipBlanks(std::string_view& s) {
        const std::size_t n = s.find_first_not_of(" \t");
        s.remove_prefix(n == std::string_view::npos ? s.size() : n);
    }

    static bool parseCount(std::string_view& s, int& value) {
        std::size_t i = 0;
        long long v = 0;
        while (i < s.size() && s[i] >= '0' && s[i] <= '9' && v <= 1'000'000'000) {
            v = v * 10 + (s[i] - '0');
            ++i;
        }
        if (i == 0 || (i < s.size() && s[i] >= '0' && s[i] <= '9') || v > 1'000'000'000)
            return false;
        value = static_cast<int>(v);
        s.remove_prefix(i);
        skipBlanks(s);
        return true;
    }

    static bool parseName(std::string_view& s, std::string& name) {
        if (s.empty() || s[0] != '"')
            return false;
        std::size_t i = 1;
        for (; i < s.size() && s[i] != '"'; ++i) {
            if (s[i] != '\\') {
                name += s[i];
                continue;
            }
            if (++i == s.size())
                return false;
            switch (s[i]) {
            case '\\':
            case '"':
                name += s[i];
                break;
            case 'n':
                name += '\n';
                break;
            case 't':
                name += '\t';
                break;
            default:
                return false;
            }
        }
        if (i == s.size())
            return false;
        s.remove_prefix(i + 1);
        skipBlanks(s);
        return true;
    }

    // One entry; inside a material's slots (topLevel false) only materials and "empty".
    bool parseEntry(int depth, bool topLevel, std::shared_ptr<MtlBase>& out) {
        if (depth > kMaxDepth || next >= lines.size())
            return false;
        std::string_view line = lines[next++];
        std::string_view rest;
        if (!topLevel && line == "empty")
            return true;
        std::string name;
        if (startsWithWord(line, "material", rest)) {
            int slots = 0;
            if (!parseName(rest, name) || !parseCount(rest, slots) || !rest.empty())
                return false;
            // Every slot takes a line of its own: a count beyond the lines left is a lie.
            if (static_cast<std::size_t>(slots) > lines.size() - next)
                return false;
            auto mtl = std::make_shared<Mtl>(WStr::FromUTF8(name));
            mtl->SetNumSubMtls(slots);
            for (int i = 0; i < slots; ++i) {
                std::shared_ptr<MtlBase> sub;
                if (!parseEntry(depth + 1, false, sub))
                    return false;
                mtl->SetSubMtl(i, std::static_pointer_cast<Mtl>(sub));
            }
            out = std::move(mtl);
            return true;
        }
        if (topLevel && startsWithWord(line, "texmap", rest)) {
            if (!parseName(rest, name) || !rest.empty())
                return false;
            out = std::make_shared<Texmap>(WStr::FromUTF8(name));
            return true;
        }
        return false;
    }

    std::vector<std::string_view> lines;
    std::size_t next = 0;
};

// ---- Writing

void appendName(std::string& out, const WStr& name) {
    out += '"';
    const CStr utf8 = name.ToCStr();
    for (const char c : utf8.str()) {
        switch (c) {
        case '\\':
            out += "\\\\";
            break;
        case '"':
            out += "\\\"";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            out += c;
        }
    }
    out += '"';
}

bool appendMtl(std::string& out, const Mtl& mtl, int depth) {
    if (depth > kMaxDepth)
        return false;
    out.append(static_cast<std::size_t>(depth) * 2, ' ');
    out += "material ";
    appendName(out, mtl.GetName());
    out += ' ';
    out += std::to_string(mtl.NumSubMtls());
    out += '\n';
    for (int i = 0; i < mtl.NumSubMtls(); ++i) {
        const Mtl* sub = mtl.GetSubMtl(i);
        if (sub == nullptr) {
            out.append(static_cast<std::size_t>(depth + 1) * 2, ' ');
            out += "empty\n";
        } else if (!appendMtl(out, *sub, depth + 1)) {
            return false;
        }
    }
    return true;
}

} // namespace

bool ParseMaterialLibrary(std::string_view text, MtlBaseLib& lib) {
    std::vector<std::shared_ptr<MtlBase>> entries;
    if (!Parser(text).parse(entries))
        return false;
    for (auto& entry : entries)
        lib.AddMtl(std::move(entry));
    return true;
}

std::optional<std::string> FormatMaterialLibrary(const MtlBaseLib& lib) {
    std::string out;
    out += kSignature;
    out += ' ';
    out += std::to_string(kFormatVersion);
    out += '\n';
    for (int i = 0; i < lib.Count(); ++i) {
        const MtlBase* entry = lib[i];
        if (const auto* mtl = dynamic_cast<const Mtl*>(entry)) {
            if (!appendMtl(out, *mtl, 0))
                return std::nullopt;
        } else if (dynamic_cast<const Texmap*>(entry) != nullptr) {
            out += "texmap ";
            appendName(out, entry->GetName());
            out += '\n';
        } else {
            return std::nullopt;
        }
    }
    return out;
}

bool HeadlessMaterials::LoadMaterialLibrary(const WStr& path, MtlBaseLib& lib) {
    const std::filesystem::path file = MaxSDK::Util::Path(path).ToFilesystemPath();
    std::error_code ec;
    if (!std::filesystem::is_regular_file(file, ec))
        return false;
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return false;
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad())
        return false;
    return ParseMaterialLibrary(text, lib);
}

bool HeadlessMaterials::SaveMaterialLibrary(const WStr& path, const MtlBaseLib& lib) {
    const std::optional<std::string> text = FormatMaterialLibrary(lib);
    if (!text)
        return false;
    std::ofstream out(MaxSDK::Util::Path(path).ToFilesystemPath(),
                      std::ios::binary | std::ios::trunc);
    out << *text;
    out.close();
    return static_cast<bool>(out);
}
