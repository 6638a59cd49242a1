#include "vexacore/parallel.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <list>
#include <memory>
#include <mutex>
#include <sched.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace vexa {

namespace {

std::atomic<unsigned int> wanted_threads{0};

unsigned int CountCores()
{
    cpu_set_t cores;
    if (::sched_getaffinity(::getpid(), sizeof(cores), &cores) == 0) {
        return static_cast<unsigned int>(CPU_COUNT(&cores));
    }
    return std::thread::hardware_concurrency(); // a machine with more cores than the set has room for
}

// One call of ParallelFor. All but the work itself is guarded by the pool's mutex.
struct Job {
    std::size_t count;
    std::function<void(std::size_t)> const * work; // alive while running > 0 or next < count
    std::size_t next = 0;                          // the first item that nobody has begun
    std::size_t running = 0;                       // items under way
    unsigned int helpers;                          // threads of the pool that may still join
    std::exception_ptr failure;
    std::condition_variable done; // running became 0 and no item is left
};

class Pool {
  public:
    // Never destroyed: its threads may outlive every static object, and sleep until the process ends.
    static Pool & Get()
    {
        static auto * const pool = new Pool;
        return *pool;
    }

    void Run(std::size_t count, std::function<void(std::size_t)> const & work, unsigned int threads)
    {
        auto const job = std::make_shared<Job>();
        job->count = count;
        job->work = &work;
        job->helpers = static_cast<unsigned int>(std::min<std::size_t>(threads, count)) - 1;
        std::unique_lock lock(_mutex);
        Grow(job->helpers);
        _jobs.push_back(job);
        _wake.notify_all();
        WorkOn(*job, lock);
        _jobs.remove(job);
        job->done.wait(lock, [&] { return job->running == 0; });
        if (job->failure != nullptr) {
            std::rethrow_exception(job->failure);
        }
    }

  private:
    // Where the system gives no more threads those that are there do the work.
    void Grow(unsigned int threads)
    {
        try {
            for (; _threads < threads; ++_threads) {
                std::thread(&Pool::Serve, this).detach();
            }
        } catch (std::system_error const &) {
            return;
        }
    }

    // A thread of the pool: joins one job after the other for as long as the process lives.
    [[noreturn]] void Serve()
    {
        std::unique_lock lock(_mutex);
        for (;;) {
            std::shared_ptr<Job> job;
            _wake.wait(lock, [&] { return (job = FindJob()) != nullptr; });
            --job->helpers;
            WorkOn(*job, lock);
        }
    }

    std::shared_ptr<Job> FindJob() const
    {
        auto const found = std::find_if(_jobs.begin(), _jobs.end(), [](std::shared_ptr<Job> const & job) {
            return job->helpers > 0 && job->next < job->count;
        });
        return found != _jobs.end() ? *found : nullptr;
    }

    // Does items of the job until none is left; the mutex is free while an item runs.
    static void WorkOn(Job & job, std::unique_lock<std::mutex> & lock)
    {
        while (job.next < job.count) {
            std::size_t const item = job.next++;
            ++job.running;
            lock.unlock();
            std::exception_ptr failure;
            try {
                (*job.work)(item);
            } catch (...) {
                failure = std::current_exception();
            }
            lock.lock();
            if (failure != nullptr) {
                job.next = job.count;
                job.failure = job.failure != nullptr ? job.failure : failure;
            }
            if (--job.running == 0) {
                job.done.notify_all();
            }
        }
    }

    std::mutex _mutex;
    std::condition_variable _wake; // there is a job to join
    std::list<std::shared_ptr<Job>> _jobs;
    unsigned int _threads = 0;
};

// One call of RunInOrder: each of its threads does, again and again, the most urgent thing that can be done.
class OrderedRun {
  public:
    explicit OrderedRun(OrderedWork const & work) : _work(work) {}

    void Work()
    {
        std::unique_lock lock(_mutex);
        while (_taken < _work.count && _failure == nullptr) {
            if (!_taking && _ready[_taken % _work.slots]) {
                _taking = true;
                Do(_work.take, _taken, lock);
                _ready[_taken % _work.slots] = false;
                ++_taken;
                _taking = false;
            } else if (_next < _work.count && _next < _taken + _work.slots) {
                std::size_t const item = _next++;
                Do(_work.make, item, lock);
                _ready[item % _work.slots] = true;
            } else {
                _changed.wait(lock);
                continue;
            }
            _changed.notify_all();
        }
    }

    void ThrowFailure() const
    {
        if (_failure != nullptr) {
            std::rethrow_exception(_failure);
        }
    }

  private:
    void Do(std::function<void(std::size_t, std::size_t)> const & step, std::size_t item,
            std::unique_lock<std::mutex> & lock)
    {
        lock.unlock();
        std::exception_ptr failure;
        try {
            step(item, item % _work.slots);
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        _failure = _failure != nullptr ? _failure : failure;
    }

    OrderedWork const & _work;
    std::mutex _mutex; // guards what follows
    std::condition_variable _changed;
    std::vector<bool> _ready = std::vector<bool>(_work.slots); // by slot: its item is made and not yet taken
    std::size_t _next = 0;                                     // the first item that nobody has begun to make
    std::size_t _taken = 0;                                    // items taken
    bool _taking = false;
    std::exception_ptr _failure;
};

} // namespace

unsigned int GetThreadCount()
{
    unsigned int const wanted = wanted_threads;
    return std::max(wanted != 0 ? wanted : CountCores(), 1U);
}

void SetThreadCount(unsigned int count)
{
    wanted_threads = count;
}

void ParallelFor(std::size_t count, std::function<void(std::size_t)> const & work)
{
    unsigned int const threads = GetThreadCount();
    if (threads > 1 && count > 1) {
        Pool::Get().Run(count, work, threads);
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        work(i);
    }
}

void RunInOrder(OrderedWork const & work)
{
    OrderedRun run(work);
    ParallelFor(std::min<std::size_t>(GetThreadCount(), work.count), [&](std::size_t) { run.Work(); });
    run.ThrowFailure();
}

} // namespace vexa
