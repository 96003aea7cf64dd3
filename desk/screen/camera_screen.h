// One picture of the camera's display: what the camera itself shows, and the windows over it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "coredll/storage.h"
#include "peripherals/image_service.h"
#include "picture/picture.h"

namespace desk {

class ImagePipeline;
class WindowSystem;
struct SceneWindow;

// One window, at its place.
void DrawWindow(Picture& screen, const SceneWindow& window);

class CameraScreen {
 public:
  enum class Display { Lcd, ViewFinder };

  // pipeline, service: null where the camera has none; its image is then grey.
  CameraScreen(const WindowSystem& windows, const Storage& storage, std::string name,
               const ImagePipeline* pipeline, const ImageService* service);

  std::shared_ptr<Picture> Render(Display display) const;
  // The live image alone, small.
  std::shared_ptr<const Picture> LiveImage() const;

 private:
  void DrawCamera(Picture& screen, const ImageService::Shown& shown) const;

  const WindowSystem& mWindows;
  const Storage& mStorage;
  const std::string mName;
  const ImagePipeline* mPipeline;
  const ImageService* mService;
};

}  // namespace desk
