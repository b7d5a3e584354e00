#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

// What an operator gets wrong in a node manager's configuration file, found before anything starts:
// keys and record classes that do not exist (with the nearest name that does), values of the wrong
// type or out of range, enum names that are not enumerators, a discovery node under a UID it cannot
// serve. Reading the file itself forgives all of these (an unknown key is ignored, a bad value keeps
// the default), which is right for a running system and wrong for a file being written.
//
// Each finding names the key by its path in the document, "Nodes[2].config.ConfigParams[0].LogLevel".
// Record classes are known from the class factory, so check after the modules are loaded.
class ZConfigChecker {
public:
    struct ZFinding {
        bool m_bError = true;  // false: a warning, the host still starts
        std::string m_path;    // empty for the document as a whole
        std::string m_text;
    };

    // Reads and parses the file; false with GetError ("cannot read: ...", "not a valid JSON document:
    // line 3, column 5: ...") when there is nothing to check.
    bool Read(const std::string& path);
    const std::string& GetError() const { return m_error; }

    // Walks the document read; findings in document order.
    std::vector<ZFinding> Check();
    static bool HasErrors(const std::vector<ZFinding>& findings);
    // "Nodes[0].uid: ..." or "Nodes[0].uid: warning: ..."
    static std::string Text(const ZFinding& finding);

    // The name among the candidates nearest to the name given, when one is near enough to be a slip
    // of the keyboard (letter case, a letter or two); else empty.
    static std::string NearestName(const std::string& name, const std::vector<std::string>& candidates);

private:
    using ZJson = nlohmann::ordered_json;

    void CheckManager();
    void CheckNode(const std::string& path, const ZJson& node);
    void CheckConnection(const std::string& path, const ZJson& connection);
    void CheckConfigSet(const std::string& path, const ZJson& set);
    void CheckRecord(const std::string& path, const ZJson& record);
    // Keys that are neither in the schema nor "class"; the schema lists the keys with their models.
    void CheckKeys(const std::string& path, const ZJson& object, const ZJson& schema);
    void CheckValue(const std::string& path, const std::string& key, const ZJson& value, const ZJson& model);
    // A key that must hold text; false (with the finding) when it holds something else.
    bool CheckText(const std::string& path, const ZJson& object, const char* key);
    void Error(const std::string& path, const std::string& text);
    void Warn(const std::string& path, const std::string& text);
    // The keys and default values of a fresh record of the class, as it writes itself.
    const ZJson& ModelOf(const std::string& className);

    ZJson m_document;
    std::map<std::string, ZJson> m_models;
    std::string m_error;
    std::vector<ZFinding> m_findings;
    bool m_bClassesKnown = true;  // false when "Modules" cannot be read: its classes are missing
};
