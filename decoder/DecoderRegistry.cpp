#include "DecoderRegistry.h"

namespace playerdecoder {

CDecoderRegistry& CDecoderRegistry::Instance() {
    // Never destroyed: application threads may still call in while the process exits.
    static CDecoderRegistry* registry = new CDecoderRegistry();
    return *registry;
}

long CDecoderRegistry::Add(std::shared_ptr<CVideoDecoder> decoder) {
    std::lock_guard<std::mutex> lock(m_mutex);
    long handle = m_lNextHandle++;
    decoder->SetHandle(handle);
    m_decoders.emplace(handle, std::move(decoder));
    return handle;
}

std::shared_ptr<CVideoDecoder> CDecoderRegistry::Find(long handle) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto found = m_decoders.find(handle);
    return found == m_decoders.end() ? nullptr : found->second;
}

std::shared_ptr<CVideoDecoder> CDecoderRegistry::Remove(long handle) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto found = m_decoders.find(handle);
    if (found == m_decoders.end()) {
        return nullptr;
    }
    std::shared_ptr<CVideoDecoder> decoder = std::move(found->second);
    m_decoders.erase(found);
    return decoder;
}

}  // namespace playerdecoder
