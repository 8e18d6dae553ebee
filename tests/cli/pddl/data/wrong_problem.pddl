(define (problem dark)
  (:domain cellar)
  (:objects f1 - fuse)
  (:goal (forall (?f - fuse) (mended ?f))))
