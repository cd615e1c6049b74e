#pragma once

namespace VESK::Test
{

/// The descriptors that this process has open.
int openDescriptors();

/// The threads of this process that have not ended.
int runningThreads();

/// While it lives, a file of this process cannot grow beyond `bytes`: a write that would, fails, as on a
/// full disk.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(unsigned long bytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;

private:
    unsigned long m_old;
};

/// While it lives, this process can open `count` more descriptors at the most.
class DescriptorLimit
{
public:
    explicit DescriptorLimit(unsigned long count);
    ~DescriptorLimit();
    DescriptorLimit(const DescriptorLimit &) = delete;
    DescriptorLimit &operator=(const DescriptorLimit &) = delete;

private:
    unsigned long m_old;
};

} // namespace VESK::Test
