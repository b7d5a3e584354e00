#include "ZTopologyIndex.h"

namespace {

ZString ClassInGroup(const ZString& className, const ZString& group) {
    ZString key = className;
    key += '\n';
    key += group;
    return key;
}

}  // namespace

ZTopologyIndex::ZTopologyIndex(const std::shared_ptr<ZTopologyMsg>& graph) : m_pGraph(graph) {}

void ZTopologyIndex::Appended() {
    if (m_bValid && m_pGraph && m_pGraph.get() == m_pIndexed && m_count + 1 == m_pGraph->m_nodes.size()) {
        Add(m_count);
        m_count += 1;
    } else {
        m_bValid = false;
    }
}

bool ZTopologyIndex::Refresh() {
    if (m_bValid && m_pGraph.get() == m_pIndexed && m_pGraph && m_count == m_pGraph->m_nodes.size()) {
        return false;
    }
    Rebuild();
    return true;
}

void ZTopologyIndex::Rebuild() {
    m_firstOfUID.clear();
    m_firstOfClass.clear();
    m_firstOfClassInGroup.clear();
    m_managerRecords.clear();
    m_pIndexed = m_pGraph.get();
    m_count = m_pIndexed ? m_pIndexed->m_nodes.size() : 0;
    for (std::size_t i = 0; i < m_count; ++i) {
        Add(i);
    }
    m_bValid = true;
}

void ZTopologyIndex::Add(std::size_t position) {
    const ZTopologyNode& node = m_pGraph->m_nodes[position];
    // Only the first of each key counts, as a walk in graph order finds it first.
    m_firstOfUID.emplace(node.m_uid.AsString(), position);
    m_firstOfClass.emplace(node.m_className, position);
    m_firstOfClassInGroup.emplace(ClassInGroup(node.m_className, node.m_group), position);
    if (node.m_uid == node.m_nodeManagerUID) {
        m_managerRecords.insert(node.m_uid.AsString());
    }
}

const ZTopologyNode* ZTopologyIndex::At(std::size_t position) const {
    return position < m_pGraph->m_nodes.size() ? &m_pGraph->m_nodes[position] : nullptr;
}

const ZTopologyNode* ZTopologyIndex::Find(const ZNodeUID& uid) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        const bool rebuilt = Refresh();
        const auto found = m_firstOfUID.find(uid.AsString());
        if (found == m_firstOfUID.end()) {
            return nullptr;
        }
        const ZTopologyNode* node = At(found->second);
        if (node != nullptr && node->m_uid == uid) {
            return node;
        }
        if (rebuilt) {
            break;
        }
        m_bValid = false;  // changed behind the index's back: once more, rebuilt
    }
    return nullptr;
}

bool ZTopologyIndex::HasManagerRecord(const ZString& uid) {
    Refresh();
    return m_managerRecords.count(uid) > 0;
}

const ZTopologyNode* ZTopologyIndex::FindByClass(const ZString& className, const ZString& group) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        const bool rebuilt = Refresh();
        const ZPositions& table = group.empty() ? m_firstOfClass : m_firstOfClassInGroup;
        auto found = table.find(group.empty() ? className : ClassInGroup(className, group));
        if (found == table.end() && !group.empty()) {
            found = m_firstOfClass.find(className);
            if (found == m_firstOfClass.end()) {
                return nullptr;
            }
        } else if (found == table.end()) {
            return nullptr;
        }
        const ZTopologyNode* node = At(found->second);
        if (node != nullptr && node->m_className == className) {
            return node;
        }
        if (rebuilt) {
            break;
        }
        m_bValid = false;
    }
    return nullptr;
}
