// SPDX-License-Identifier: MIT
// Owners for what Fontconfig, GLib, HarfBuzz and Cairo count or free.
#pragma once

#include <cairo.h>
#include <fontconfig/fontconfig.h>
#include <glib-object.h>
#include <hb.h>

#include <memory>

namespace tovmx {

template <auto kRelease>
struct Release {
  template <typename T>
  void operator()(T* object) const noexcept {
    kRelease(object);
  }
};

template <typename T>
using GObjectPtr = std::unique_ptr<T, Release<g_object_unref>>;
template <typename T>
using GFreePtr = std::unique_ptr<T, Release<g_free>>;
using FcConfigPtr = std::unique_ptr<FcConfig, Release<FcConfigDestroy>>;
using FcPatternPtr = std::unique_ptr<FcPattern, Release<FcPatternDestroy>>;
using FcFontSetPtr = std::unique_ptr<FcFontSet, Release<FcFontSetDestroy>>;
using HbFacePtr = std::unique_ptr<hb_face_t, Release<hb_face_destroy>>;
using CairoPtr = std::unique_ptr<cairo_t, Release<cairo_destroy>>;
using CairoSurfacePtr = std::unique_ptr<cairo_surface_t, Release<cairo_surface_destroy>>;
using CairoFontFacePtr = std::unique_ptr<cairo_font_face_t, Release<cairo_font_face_destroy>>;
using CairoFontOptionsPtr = std::unique_ptr<cairo_font_options_t, Release<cairo_font_options_destroy>>;

}  // namespace tovmx
