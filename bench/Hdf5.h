// HDF5 handles that close themselves.
#pragma once

#include <hdf5.h>

#include <utility>

#include "bench/Common.h"

namespace bench {

class HdfHandle {
public:
    using Closer = herr_t (*)(hid_t);

    HdfHandle(hid_t id, Closer closer) : m_id(id), m_closer(closer) { Require(id >= 0, "HDF5 gave no handle"); }
    HdfHandle(HdfHandle&& other) noexcept : m_id(std::exchange(other.m_id, -1)), m_closer(other.m_closer) {}
    ~HdfHandle() {
        if (m_id >= 0) m_closer(m_id);
    }
    HdfHandle(const HdfHandle&) = delete;
    HdfHandle& operator=(const HdfHandle&) = delete;
    HdfHandle& operator=(HdfHandle&&) = delete;
    operator hid_t() const { return m_id; }

private:
    hid_t m_id;
    Closer m_closer;
};

inline HdfHandle CreateHdfFile(const std::string& path) {
    return {H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT), H5Fclose};
}

inline HdfHandle OpenHdfFile(const std::string& path, hid_t access = H5P_DEFAULT) {
    return {H5Fopen(path.c_str(), H5F_ACC_RDONLY, access), H5Fclose};
}

// A dataspace of one dimension.
inline HdfHandle HdfSpace(hsize_t size) { return {H5Screate_simple(1, &size, nullptr), H5Sclose}; }

inline bool SelectRun(hid_t space, hsize_t first, hsize_t count) {
    return H5Sselect_hyperslab(space, H5S_SELECT_SET, &first, nullptr, &count, nullptr) >= 0;
}

}  // namespace bench
