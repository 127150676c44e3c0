// The input is a list of operations on a dictionary, each carried out on a map as well.

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <vector>

#include "fuzz/FuzzTarget.h"
#include "graphics/StrDict3.h"

namespace {

using Dictionary = StrDict3<int>;
using Map = std::map<std::string, int>;  // ordered by bytes, as the dictionary is

constexpr std::size_t kMostWalked = Dictionary::kEnumLevels;  // bytes of a key

// What the dictionary is to be.
class Model {
public:
    void init(bool caseSensitive, Dictionary::EStoreCase stored) {
        m_caseSensitive = caseSensitive;
        m_stored = stored;
        clear();
    }
    void clear() {
        m_keys.clear();
        m_paths.clear();
    }

    [[nodiscard]] std::string folded(std::string key) const {
        const char first = m_stored == Dictionary::STORE_UPPERCASE ? 'a' : 'A';
        for (char& c : key) {
            c = !m_caseSensitive && c >= first && c < first + 26 ? static_cast<char>(c ^ 0x20) : c;
        }
        return key;
    }
    bool set(const std::string& key, int value) {
        if (key.empty()) {
            return false;
        }
        m_keys[folded(key)] = value;
        m_paths.insert(folded(key));
        return true;
    }
    [[nodiscard]] const int* find(const std::string& key) const {
        const auto found = m_keys.find(folded(key));
        return found != m_keys.end() ? &found->second : nullptr;
    }
    // How many of its characters are the beginning of a key. One that was ever set stays until all are
    // removed.
    [[nodiscard]] std::size_t reached(const std::string& key) const {
        const std::string text = folded(key);
        const auto next = m_paths.lower_bound(text);
        const std::size_t after = next != m_paths.end() ? inCommon(text, *next) : 0;
        return next != m_paths.begin() ? std::max(after, inCommon(text, *std::prev(next))) : after;
    }
    bool remove(const std::string& key) { return m_keys.erase(folded(key)) != 0; }
    [[nodiscard]] const Map& keys() const { return m_keys; }
    [[nodiscard]] bool isEmpty() const { return m_paths.empty(); }

private:
    static std::size_t inCommon(const std::string& a, const std::string& b) {
        std::size_t n = 0;
        while (n < a.size() && n < b.size() && a[n] == b[n]) {
            ++n;
        }
        return n;
    }

    bool m_caseSensitive = true;
    Dictionary::EStoreCase m_stored = Dictionary::STORE_LOWERCASE;
    Map m_keys;
    std::set<std::string> m_paths;  // all keys that were set
};

using Walked = std::vector<std::pair<std::string, int>>;

Walked walk(Dictionary& dictionary, const char* prefix) {
    Walked walked;
    const auto note = [](const char* key, int& value, void* context) {
        static_cast<Walked*>(context)->emplace_back(key, value);
        return true;
    };
    require(dictionary.EnumDictionary(note, &walked, prefix), "a walk comes to its end");
    return walked;
}

Walked expected(const Map& keys, const std::string& prefix) {
    Walked all;
    for (const auto& pair : keys) {
        if (pair.first.size() <= kMostWalked) {
            all.emplace_back(prefix + pair.first, pair.second);
        }
    }
    return all;
}

void checkFind(const Dictionary& dictionary, const Model& model, const std::string& key) {
    const int* const known = model.find(key);
    int value = -1;
    require(dictionary.Find(key.c_str(), value, false, true) == (known != nullptr),
            "Find finds stored keys alone");
    require(value == (known != nullptr ? *known : 0), "Find gives the value, or 0 on a miss");
    require(dictionary.Exists(key.c_str()) == (known != nullptr), "Exists");
}

void checkFindPart(const Dictionary& dictionary, const Model& model, unsigned int limit,
                   const std::string& key) {
    const std::string part = key.substr(0, limit);
    const int* const known = model.find(part);
    int* stored = nullptr;
    require(dictionary.Find0(limit, key.c_str(), stored) == (known != nullptr), "Find0");
    require(known == nullptr || *stored == *known, "Find0 gives the stored value");
}

void checkPartialMatch(const Dictionary& dictionary, const Model& model, const std::string& key) {
    const std::size_t reached = model.reached(key);
    const int* const known = model.find(key.substr(0, reached));
    int value = -1;
    unsigned int count = 77;
    const bool found = dictionary.FindPartialMatch(key.c_str(), value, &count);
    require(found == (known != nullptr), "only the deepest node counts");
    require(!found || (value == *known && count == reached), "the deepest key and its length");
    require(found || (value == -1 && count == 77), "a miss changes nothing");
    unsigned int wholeCount = 0;
    const bool whole = dictionary.Find(key.c_str(), value, true, false, &wholeCount);
    require(whole == (known != nullptr && reached == key.size()), "a whole key");
}

void checkCopy(const Dictionary& dictionary, const Model& model) {
    Dictionary copy;
    const Walked all = expected(model.keys(), "");
    require(dictionary.Copy(copy) == all.size(), "Copy counts the keys");
    require(walk(copy, nullptr) == all, "a copy has the same keys");
    Dictionary odd;
    const auto isOdd = [](const char*, int& value, void*) { return value % 2 != 0; };
    const auto count =
        std::count_if(all.begin(), all.end(), [](const auto& pair) { return pair.second % 2 != 0; });
    require(dictionary.Filter(isOdd, odd, nullptr) == static_cast<std::size_t>(count),
            "Filter counts what it takes");
}

void step(Dictionary& dictionary, Model& model, FuzzInput& input) {
    const unsigned int what = input.byte();
    const std::string key = input.text();
    int old = -1;
    switch (what % 10) {
        case 0:
        case 1:
        case 2:
            require(
                dictionary.Set(key.c_str(), static_cast<int>(what)) == model.set(key, static_cast<int>(what)),
                "Set refuses the empty key alone");
            break;
        case 3: {
            const unsigned int limit = input.byte();
            require(dictionary.Set0(limit, key.c_str(), 1) == model.set(key.substr(0, limit), 1), "Set0");
            break;
        }
        case 4:
            checkFind(dictionary, model, key);
            break;
        case 5:
            checkFindPart(dictionary, model, input.byte(), key);
            break;
        case 6: {
            const int* const known = model.find(key);
            const int value = known != nullptr ? *known : -1;
            require(dictionary.Remove(key.c_str(), &old) == model.remove(key), "Remove");
            require(old == value, "Remove gives the value, or nothing");
            break;
        }
        case 7:
            checkPartialMatch(dictionary, model, key);
            break;
        case 8:
            require(walk(dictionary, key.c_str()) == expected(model.keys(), key),
                    "a walk goes in order of bytes");
            break;
        default:
            if (what > 200) {
                dictionary.RemoveAll();
                model.clear();
            } else {
                checkCopy(dictionary, model);
            }
    }
    require(dictionary.IsEmpty() == model.isEmpty(), "IsEmpty");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const unsigned int kind = input.byte();
    const bool caseSensitive = (kind & 1) != 0;
    const auto stored = (kind & 2) != 0 ? Dictionary::STORE_UPPERCASE : Dictionary::STORE_LOWERCASE;
    Dictionary::Allocator<16> allocator("fuzz", 1);
    {
        Dictionary dictionary(caseSensitive, stored, (kind & 4) != 0 ? &allocator : nullptr);
        Model model;
        model.init(caseSensitive, stored);
        while (!input.isEmpty()) {
            step(dictionary, model, input);
        }
    }
    require(allocator.GetUsedNodes() == 0, "every node is given back");
    return 0;
}
