// ztopo's subcommands that read the discovery node's list of node managers ("getnodemanagers"):
// managers, lock-status and describe.
#include <nlohmann/json.hpp>

#include "NodeBase/ZDiscoveryGetNodeManagersMsg.h"
#include "NodeBase/ZDiscoveryNodeManagersMsg.h"
#include "NodeBase/ZTopologyMsg.h"
#include "ZManagersReport.h"
#include "ZNodeDescription.h"
#include "ZShared/ZMakeShared.h"
#include "ZTopoCommand.h"

std::shared_ptr<ZDiscoveryNodeManagersMsg> ZTopoCommand::FetchManagers(int& exitCode) {
    auto answer = m_pRequest->Ask<ZDiscoveryNodeManagersMsg>(
        "getnodemanagers", ZMakeShared<ZDiscoveryGetNodeManagersMsg>(), m_pOptions->Timeout());
    exitCode = answer ? ZTOPO_EXIT_OK : NoAnswer("getnodemanagers");
    return answer;
}

int ZTopoCommand::OnManagers() {
    int exitCode = ZTOPO_EXIT_OK;
    if (const auto answer = FetchManagers(exitCode)) {
        if (IsJSON()) {
            m_out << ZManagersReport::JSON(*answer) << "\n";
        } else {
            ZManagersReport(*answer).PrintTable(m_out, m_pOptions->Format() == ZTopoFormat::WIDE);
        }
    }
    return exitCode;
}

int ZTopoCommand::OnLockStatus() {
    int exitCode = ZTOPO_EXIT_OK;
    if (const auto answer = FetchManagers(exitCode)) {
        const ZManagersReport report(*answer);
        m_out << (IsJSON() ? report.LockJSON() : report.LockText()) << "\n";
    }
    return exitCode;
}

int ZTopoCommand::OnDescribe() {
    const ZTopoOptions& options = *m_pOptions;
    int exitCode = ZTOPO_EXIT_OK;
    const auto topology = FetchTopology(exitCode);
    if (!topology) {
        return exitCode;
    }
    const ZTopologyNode* node = topology->GetNode(ZNodeUID(options.m_uid));
    if (node == nullptr) {
        return Refused(options.m_uid + " is not in the topology");
    }
    std::shared_ptr<ZDiscoveryNodeManagersMsg> managers;
    if (node->m_uid == node->m_nodeManagerUID && !(managers = FetchManagers(exitCode))) {
        return exitCode;
    }
    const ZNodeDescription description(*topology, managers.get(), options.m_uid);
    if (IsJSON()) {
        m_out << description.JSON() << "\n";
    } else {
        description.Print(m_out);
    }
    return ZTOPO_EXIT_OK;
}
