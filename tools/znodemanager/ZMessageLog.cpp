#include "ZMessageLog.h"

#include <chrono>
#include <ctime>

#include "NodeComm/ZNodeComm.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZMessageLogParams.h"
#include "ZCoreConfigs/ZProcessEnvironment.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZRotatingFileLogSink.h"
#include "ZShared/ZMakeShared.h"

namespace {

constexpr std::int64_t kMaxFileBytes = 10 * 1024 * 1024;
constexpr std::int32_t kMaxFiles = 5;

std::string Now() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto micros =
        std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count() % 1000000;
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char stamp[40];
    const std::size_t length = std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(stamp + length, sizeof stamp - length, ".%06lldZ", static_cast<long long>(micros));
    return stamp;
}

}  // namespace

bool ZMessageLog::Configure(const std::shared_ptr<ZCoreConfigParams>& set, std::string& error) {
    m_pFile.reset();
    const auto params = set ? set->GetConfig<ZMessageLogParams>() : nullptr;
    if (!params || !params->m_bEnabled) {
        return true;
    }
    ZString resolved;
    if (!ZProcessEnvironment().ResolveEnvVarsInPath(params->m_logPath, resolved) || resolved.empty()) {
        error = "ZMessageLogParams: LogPath <" + ToStdString(params->m_logPath) +
                (params->m_logPath.empty() ? "> is empty" : "> names a variable that is not set");
        return false;
    }
    auto file = std::make_shared<ZRotatingFileLogSink>(ToStdString(resolved), kMaxFileBytes, kMaxFiles);
    std::string why;
    if (!file->Open(why)) {
        error = "ZMessageLogParams: " + why;
        return false;
    }
    m_pFile = std::move(file);
    m_classes.clear();
    for (const auto& name : params->m_classes) {
        m_classes.insert(ToStdString(name));
    }
    m_maxBytes = params->m_maxLoggedBytes > 0 ? static_cast<std::size_t>(params->m_maxLoggedBytes) : 0;
    return true;
}

void ZMessageLog::Attach(ZNodeComm& comm) const {
    if (!m_pFile) {
        return;
    }
    comm.SetMessageTap(
        [file = m_pFile, classes = m_classes, maxBytes = m_maxBytes](
            bool bSent, const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) {
            const std::string className = message->ClassName();
            if (!classes.empty() && classes.count(className) == 0) {
                return;
            }
            auto stream = ZMakeShared<ZJSONCommStream>();
            stream->SetCompact(true);
            std::string body;
            if (!message->SerializeMessage(stream) || !stream->GetData(body)) {
                body = "(does not serialize)";
            }
            if (body.size() > maxBytes) {
                body = body.substr(0, maxBytes) + "...";
            }
            file->WriteLine(Now() + (bSent ? " sent " : " received ") + ToStdString(endpoint.AsString()) +
                            " " + className + " " + body);
        });
}
