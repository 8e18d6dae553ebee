(define (problem check) (:domain check) (:init (fuel)) (:goal (and (tidy) (tested))))
