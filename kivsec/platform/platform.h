#pragma once

#include "kivsec/detached_signature.h"

/// What the signing of messages asks of a system's cryptography. As with
/// kivgui/platform/platform.h, each back end answers in its own folder, fails with the last-error
/// code set, throws nothing of its own, and may be called on any thread.
namespace KivOssSec::Platform {

/// Answers KivOssSec::SignDetached; a failure may leave anything in `signature`.
bool SignDetached(const KivGuiBase::File& signer, const KivGuiBase::AnsiStr& signerText,
                  const ContentFeed& feed, KivGuiBase::Blob& signature);

}  // namespace KivOssSec::Platform
