(define (problem last_moment_1) (:domain last_moment)
  (:init (open) (at 4 (not (open))))
  (:goal (done)))
