// SPDX-License-Identifier: MIT
// The part that all devices share: each operation is the canvas's, which knows the surface.
#include "tovmx/device.h"

#include "device/canvas.h"

#include <utility>

CoreDevice::~CoreDevice() = default;
CorePathDevice::~CorePathDevice() = default;

CorePageDevice::CorePageDevice(std::unique_ptr<CoreCanvas> canvas) noexcept : canvas_(std::move(canvas)) {}
CorePageDevice::~CorePageDevice() = default;

bool CorePageDevice::DrawText(const wchar_t* characters, int count, const CoreFontLoader& fonts,
                              const CoreMatrix& matrix, std::uint32_t argb, float pixelSize) {
  return canvas_->DrawText(characters, count, fonts, matrix, argb, pixelSize);
}

// Cairo keeps no text open between two lines.
bool CorePageDevice::EndText() { return canvas_->IsGood(); }

bool CorePageDevice::Flush() { return canvas_->Flush(); }

bool CorePageDevice::FillPath(const CorePath& path, CoreFillMode fillMode, const CoreMatrix& matrix,
                              std::uint32_t argb) {
  return canvas_->FillPath(path, fillMode, matrix, argb);
}

bool CorePageDevice::StrokePath(const CorePath& path, float width, const CoreMatrix& matrix,
                                std::uint32_t argb) {
  return canvas_->StrokePath(path, width, matrix, argb);
}

bool CorePageDevice::FillPage(std::uint32_t argb) { return canvas_->FillPage(argb); }

bool CorePageDevice::IsGood() const noexcept { return canvas_->IsGood(); }

bool CoreDocumentDevice::Finish() { return canvas_->Finish(); }
