#pragma once

#include <QDir>

/// Takes the images out of the program for as long as the object lives.
class MissingImages
{
public:
    MissingImages() { Q_CLEANUP_RESOURCE(resources); }
    ~MissingImages() { Q_INIT_RESOURCE(resources); }
    MissingImages(const MissingImages &) = delete;
    MissingImages &operator=(const MissingImages &) = delete;
};
