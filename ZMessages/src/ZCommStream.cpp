#include "ZMessages/ZCommStream.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

ZCommStream::ZCommStream() = default;
ZCommStream::~ZCommStream() = default;

void ZCommStream::InitChild(ZCommStream& child) const {
    child.m_bEnumsAsText = m_bEnumsAsText;
    child.m_pEnvironment = m_pEnvironment;
    child.m_logSource = m_logSource;
    child.m_logLevel = m_logLevel;
    child.m_bFileAccess = m_bFileAccess;
    child.m_pReadProblems = m_pReadProblems;
}

void ZCommStream::CountReadProblems() {
    if (!m_pReadProblems) {
        m_pReadProblems = std::make_shared<std::size_t>(0);
    }
}

void ZCommStream::ReserveArrayElements(const char*, std::size_t, const std::shared_ptr<ZCommStream>&) {}

std::size_t ZCommStream::CountArrayElements(const char*) const {
    return 0;
}

std::shared_ptr<ZCommStream> ZCommStream::ReadChild(const char* key) {
    if (!HasKey(key)) {
        return nullptr;
    }
    std::shared_ptr<ZCommStream> child = CreateChild();
    return child && DeserializeChild(key, child) ? child : nullptr;
}

bool ZCommStream::GetDataToFile(const char* path) const {
    std::string data;
    if (!GetData(data)) {
        return false;
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file) {
        ZLOG(LOGLEVEL_ERROR, "Cannot write <%s>: %s", path, std::strerror(errno));
        return false;
    }
    file.write(data.data(), static_cast<std::streamsize>(data.size()));
    file.close();
    if (!file) {
        ZLOG(LOGLEVEL_ERROR, "Failed writing <%s>", path);
        return false;
    }
    return true;
}

bool ZCommStream::SetDataFromFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        ZLOG(LOGLEVEL_ERROR, "Cannot read <%s>: %s", path, std::strerror(errno));
        Clear();
        return false;
    }
    const std::string data((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (file.bad()) {
        ZLOG(LOGLEVEL_ERROR, "Failed reading <%s>", path);
        Clear();
        return false;
    }
    if (!SetData(data.data(), data.size())) {
        ZLOG(LOGLEVEL_ERROR, "File <%s> does not hold a valid %s", path, ClassName());
        return false;
    }
    return true;
}
