// Owners for what Fontconfig, GLib and Cairo count or free.
#pragma once

#include <cairo.h>
#include <fontconfig/fontconfig.h>
#include <glib-object.h>

#include <memory>

namespace core {

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
using CairoPtr = std::unique_ptr<cairo_t, Release<cairo_destroy>>;
using CairoSurfacePtr = std::unique_ptr<cairo_surface_t, Release<cairo_surface_destroy>>;
using CairoFontOptionsPtr = std::unique_ptr<cairo_font_options_t, Release<cairo_font_options_destroy>>;

}  // namespace core
